# The Windows build (cmake/toolchain-mingw-w64.cmake): the core, velloran-cli.exe
# and the core's tests, run under Wine. Included by the top-level CMakeLists.txt.

# The Qt front end, its data files, the Debian package and the benchmarks are
# the Linux build's.
set(VELLORAN_GUI OFF CACHE BOOL "Build the Qt front end" FORCE)
set(VELLORAN_BENCH OFF CACHE BOOL "Build the benchmarks" FORCE)

# Paths of the build machine as the Windows programs see them under Wine, whose
# drive Z: is the machine's root (the source tree's data for tests and runs).
set(VELLORAN_HOST_ROOT "Z:" CACHE STRING "Drive under which Wine shows the build machine's root")

# GCC 12 warns wrongly about std::string's inlined copies where a one-character
# text is joined to a string (its bug 105329); the cross compiler's inlining meets
# it where the native one does not.
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)

# Windows 7 APIs and later (FindFirstFileExW's large fetch, RegDeleteTreeW).
add_compile_definitions(_WIN32_WINNT=0x0601 WINVER=0x0601 UNICODE _UNICODE
                        WIN32_LEAN_AND_MEAN NOMINMAX)

# SQLite from Debian's sqlite3 source package, made once into the build folder.
enable_language(C)
set(VELLORAN_SQLITE_DIR ${CMAKE_BINARY_DIR}/sqlite)
if(NOT EXISTS ${VELLORAN_SQLITE_DIR}/sqlite3.c)
  message(STATUS "Making SQLite's amalgamation from Debian's source package")
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/cmake/sqlite-windows.sh ${VELLORAN_SQLITE_DIR}
                  RESULT_VARIABLE sqlite_result)
  if(NOT sqlite_result EQUAL 0)
    message(FATAL_ERROR "SQLite for Windows could not be made (cmake/sqlite-windows.sh)")
  endif()
endif()
add_library(velloran_sqlite3 STATIC ${VELLORAN_SQLITE_DIR}/sqlite3.c)
target_include_directories(velloran_sqlite3 SYSTEM PUBLIC ${VELLORAN_SQLITE_DIR})
# Its own warnings are not ours (and the project's C++ warning options are not for
# C); nothing of it is loaded at run time.
set_property(TARGET velloran_sqlite3 PROPERTY COMPILE_OPTIONS -w -O2)
target_compile_definitions(velloran_sqlite3 PRIVATE SQLITE_OMIT_LOAD_EXTENSION SQLITE_THREADSAFE=1)
add_library(SQLite::SQLite3 ALIAS velloran_sqlite3)

# Tests run through Wine: a prefix of the build's own (tests never touch the
# user's), no debug output, the null display driver (window lookups need one).
set(VELLORAN_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/cmake/wine-run.sh ${VELLORAN_WINEPREFIX})

# The programs' icon, manifest and version information.
include(${CMAKE_CURRENT_LIST_DIR}/WindowsResources.cmake)
