# The Windows programs' resources: the icon Explorer shows, the application
# manifest and the version information, compiled by windres (CMake's RC language).
#
#   velloran_windows_resources(<target> <file description> [GUI|CONSOLE])
#
# GUI (the default for a WIN32_EXECUTABLE target) asks for common controls 6 and
# per-monitor DPI awareness (V2, else V1); CONSOLE leaves both out, as a console
# program draws nothing. Either way the program runs as the invoking user, names
# the Windows versions it was tested on, and is long-path aware. No active code
# page is set: the programs use the W calls throughout. A second call for the
# same target does nothing. The .rc takes ID 1 of the icon group, the manifest
# and the version information; a program's own .rc uses other IDs and adds no
# manifest.
enable_language(RC)

set(VELLORAN_PUBLISHER "The Velloran developers")
set(VELLORAN_COPYRIGHT_YEAR 2026)
set(VELLORAN_ICON_SIZES_WINDOWS 16 20 24 32 40 48 64 128 256)
set(VELLORAN_ICON ${CMAKE_BINARY_DIR}/resources/velloran.ico)

# The icon, rendered from the one SVG at build time and packed by cmake/make-ico.py.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(icon_svg ${PROJECT_SOURCE_DIR}/data/icons/velloran.svg)
set(icon_pngs)
set(icon_commands)
foreach(size ${VELLORAN_ICON_SIZES_WINDOWS})
  set(png ${CMAKE_BINARY_DIR}/resources/icon-${size}.png)
  list(APPEND icon_pngs ${png})
  list(APPEND icon_commands COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o ${png} ${icon_svg})
endforeach()
add_custom_command(OUTPUT ${VELLORAN_ICON}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/resources
  ${icon_commands}
  COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/cmake/make-ico.py ${VELLORAN_ICON} ${icon_pngs}
  DEPENDS ${icon_svg} ${PROJECT_SOURCE_DIR}/cmake/make-ico.py
  COMMENT "Rendering the program icon")
add_custom_target(velloran_icon DEPENDS ${VELLORAN_ICON})

function(velloran_windows_resources target description)
  get_target_property(done ${target} VELLORAN_RESOURCES)
  if(done)
    return()
  endif()
  set_target_properties(${target} PROPERTIES VELLORAN_RESOURCES ON)

  if(ARGC GREATER 2)
    set(kind ${ARGV2})
  else()
    get_target_property(gui ${target} WIN32_EXECUTABLE)
    if(gui)
      set(kind GUI)
    else()
      set(kind CONSOLE)
    endif()
  endif()
  if(NOT kind MATCHES "^(GUI|CONSOLE)$")
    message(FATAL_ERROR "velloran_windows_resources: kind must be GUI or CONSOLE, not ${kind}")
  endif()

  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  set(VELLORAN_RC_NAME ${name})
  set(VELLORAN_RC_DESCRIPTION ${description})
  set(VELLORAN_RC_VERSION4 ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}.0)
  set(VELLORAN_RC_VERSION_COMMAS
      ${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},${PROJECT_VERSION_PATCH},0)
  if(kind STREQUAL GUI)
    set(VELLORAN_RC_DEPENDENCY [=[  <dependency>
    <dependentAssembly>
      <assemblyIdentity type="win32" name="Microsoft.Windows.Common-Controls" version="6.0.0.0"
                        processorArchitecture="*" publicKeyToken="6595b64144ccf1df" language="*"/>
    </dependentAssembly>
  </dependency>]=])
    set(VELLORAN_RC_WINDOWS_SETTINGS [=[      <dpiAware xmlns="http://schemas.microsoft.com/SMI/2005/WindowsSettings">true/pm</dpiAware>
      <dpiAwareness xmlns="http://schemas.microsoft.com/SMI/2016/WindowsSettings">PerMonitorV2, PerMonitor</dpiAwareness>]=])
  else()
    set(VELLORAN_RC_DEPENDENCY "")
    set(VELLORAN_RC_WINDOWS_SETTINGS "")
  endif()

  set(dir ${CMAKE_BINARY_DIR}/resources/${target})
  set(VELLORAN_RC_MANIFEST ${dir}/${name}.manifest)
  set(VELLORAN_RC_ICON ${VELLORAN_ICON})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/windows/velloran.manifest.in ${VELLORAN_RC_MANIFEST}
                 @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/windows/velloran.rc.in ${dir}/${name}.rc @ONLY)
  # windres does not report the files an .rc names.
  set_source_files_properties(${dir}/${name}.rc PROPERTIES
    OBJECT_DEPENDS "${VELLORAN_ICON};${VELLORAN_RC_MANIFEST}")
  target_sources(${target} PRIVATE ${dir}/${name}.rc)
  add_dependencies(${target} velloran_icon)
endfunction()
