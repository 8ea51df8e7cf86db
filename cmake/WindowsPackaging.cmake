# The Windows downloads, made in the build folder on request (not by `all`):
#   cmake --build build-windows --target installer   velloran-<version>-setup.exe
#   cmake --build build-windows --target portable    velloran-<version>-windows-x64.zip
# Both carry the same program folder, staged in dist/Velloran/: the programs, the
# help pages in help\ and junk-filters.txt beside them, where the programs look
# for them. The installer is installer/velloran.nsi, built by Debian's makensis
# for 64-bit Windows (CPack's NSIS generator would make a 32-bit installer).
# Included by the top-level CMakeLists.txt after the programs are defined.

set(VELLORAN_STAGE ${CMAKE_BINARY_DIR}/dist/Velloran)
set(VELLORAN_SETUP ${CMAKE_BINARY_DIR}/velloran-${PROJECT_VERSION}-setup.exe)
set(VELLORAN_PORTABLE ${CMAKE_BINARY_DIR}/velloran-${PROJECT_VERSION}-windows-x64.zip)

set(stage_targets velloran-cli)
if(TARGET velloran)
  list(APPEND stage_targets velloran)
endif()
set(stage_programs)
set(strip_commands)
foreach(target ${stage_targets})
  list(APPEND stage_programs $<TARGET_FILE:${target}>)
  # The downloads carry no symbol tables.
  if(CMAKE_STRIP)
    list(APPEND strip_commands
         COMMAND ${CMAKE_STRIP} --strip-unneeded ${VELLORAN_STAGE}/$<TARGET_FILE_NAME:${target}>)
  endif()
endforeach()
# Staged again only when a program or a data file changed (strip stamps the time
# into a program), so that the installer and the zip carry the very same files;
# both are made anew on every request, which takes seconds.
file(GLOB help_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/data/help/*)
set(stage_stamp ${CMAKE_BINARY_DIR}/dist/stage.stamp)
add_custom_command(OUTPUT ${stage_stamp}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${VELLORAN_STAGE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VELLORAN_STAGE}
  COMMAND ${CMAKE_COMMAND} -E copy ${stage_programs} ${VELLORAN_STAGE}/
  ${strip_commands}
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/data/help ${VELLORAN_STAGE}/help
  COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/data/junk-filters.txt ${VELLORAN_STAGE}/
  COMMAND ${CMAKE_COMMAND} -E touch ${stage_stamp}
  DEPENDS ${stage_targets} ${help_pages} ${PROJECT_SOURCE_DIR}/data/junk-filters.txt
  COMMENT "Staging the Windows program folder in ${VELLORAN_STAGE}"
  VERBATIM)
add_custom_target(velloran_stage DEPENDS ${stage_stamp})

find_program(MAKENSIS makensis)
if(MAKENSIS)
  add_custom_target(installer
    COMMAND ${MAKENSIS} -V2 -DVERSION=${PROJECT_VERSION} -DSTAGE=${VELLORAN_STAGE}
            -DOUTFILE=${VELLORAN_SETUP} -DICON=${VELLORAN_ICON}
            ${PROJECT_SOURCE_DIR}/installer/velloran.nsi
    COMMENT "Building ${VELLORAN_SETUP}"
    VERBATIM)
else()
  add_custom_target(installer
    COMMAND ${CMAKE_COMMAND} -E echo "makensis not found: install Debian's nsis package"
    COMMAND ${CMAKE_COMMAND} -E false)
endif()
add_dependencies(installer velloran_stage)

find_program(ZIP zip)
if(ZIP)
  add_custom_target(portable
    COMMAND ${CMAKE_COMMAND} -E rm -f ${VELLORAN_PORTABLE}
    COMMAND ${ZIP} -q -r -X -9 ${VELLORAN_PORTABLE} Velloran
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/dist
    COMMENT "Building ${VELLORAN_PORTABLE}"
    VERBATIM)
else()
  add_custom_target(portable
    COMMAND ${CMAKE_COMMAND} -E echo "zip not found: install Debian's zip package"
    COMMAND ${CMAKE_COMMAND} -E false)
endif()
add_dependencies(portable velloran_stage)
