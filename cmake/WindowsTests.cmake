# The core's tests in the Windows build (included by tests/CMakeLists.txt): one
# test program, run test by test by ctest under Wine (CMAKE_CROSSCOMPILING_EMULATOR,
# cmake/wine-run.sh) in the build's own prefix.

# GoogleTest from Debian's googletest package, built by the cross compiler.
set(VELLORAN_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources")
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${VELLORAN_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(target gtest gtest_main gmock gmock_main)
  target_compile_options(${target} PRIVATE -w)
endforeach()
include(GoogleTest)

file(GLOB_RECURSE CORE_TEST_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
list(FILTER CORE_TEST_SOURCES EXCLUDE REGEX "/tests/(qt|fuzz|packaging|layers|win32)/|/linux/")

# Tests that cannot apply on Windows, by file.
set(VELLORAN_LINUX_ONLY_TESTS
  # The Linux platform's own parts: the freedesktop lists and trash, the mount
  # table, X11, logind, and its file operations through descriptors.
  common/platform/DesktopTracesTest.cpp
  common/platform/DrivesTest.cpp
  common/platform/FileOpsTest.cpp
  # Atomic saves, stamps and folder locks checked through POSIX modes and links.
  common/platform/FileIOTest.cpp
  common/platform/LogindTest.cpp
  common/platform/TrashTest.cpp
  common/platform/WindowLookupTest.cpp
  # Choosing a Wine prefix and writing its files while its wineserver may run;
  # on Windows the target is the live registry.
  common/TargetTest.cpp
  common/registry/WinePrefixStoreTest.cpp
  cleaning/browsers/IECleanerTest.cpp
  # The XDG autostart entry (Windows: tests/cleaning/windows/).
  cleaning/StartupDeleteTest.cpp
  # The console program run on Wine prefixes and XDG folders of the test's own;
  # on Windows it works on the live registry.
  cli/CleanCommandTest.cpp
  cli/CookiesCommandTest.cpp
  cli/JunkCommandTest.cpp
  cli/SettingsCommandTest.cpp
  # The Linux platform on real files with POSIX permissions, symbolic links,
  # lock links and mounts (Windows: tests/common/platform/windows/).
  cleaning/browsers/NetscapeCleanerTest.cpp
  cleaning/browsers/OperaCleanerTest.cpp
  cleaning/browsers/CookieSitesTest.cpp
  app/FrmCookiesTest.cpp
  tools/eradicator/FileFinderTest.cpp
  tools/eradicator/SecureDeleterTest.cpp
  app/frmEradTest.cpp
  app/FrmJunkTest.cpp
  tools/junk/JunkSearchTest.cpp)
list(TRANSFORM VELLORAN_LINUX_ONLY_TESTS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
list(REMOVE_ITEM CORE_TEST_SOURCES ${VELLORAN_LINUX_ONLY_TESTS})

# Single cases that cannot apply on Windows: Chromium's Linux lock is a symbolic
# link, which Wine cannot make.
set(VELLORAN_LINUX_ONLY_CASES
    "ChromiumFamilyCleanerTest.AProfileInUseIsNeverWrittenAndTheLineSaysSo")

add_executable(velloran_tests ${CORE_TEST_SOURCES})
# support/windows/: the system calls the tests share (TestSystem.hpp).
target_include_directories(velloran_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}
                           ${CMAKE_CURRENT_SOURCE_DIR}/support/windows)
target_link_libraries(velloran_tests PRIVATE velloran_console SQLite::SQLite3 gtest gmock
                      gtest_main version)
# Wine sees the build machine's files under drive Z:.
target_compile_definitions(velloran_tests PRIVATE
  VELLORAN_CLI_PATH="${VELLORAN_HOST_ROOT}$<TARGET_FILE:velloran-cli>"
  VELLORAN_TEST_DATADIR="${VELLORAN_HOST_ROOT}${CMAKE_CURRENT_SOURCE_DIR}/data")
add_dependencies(velloran_tests velloran-cli)
# Listed when ctest starts, not at build time: listing needs Wine running.
gtest_discover_tests(velloran_tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 300
                     TEST_FILTER "-WindowsHostLinks.*:${VELLORAN_LINUX_ONLY_CASES}"
                     PROPERTIES LABELS windows TIMEOUT 120)

# Wine shows a symbolic link of the host's file system as a reparse point, and
# offers no way to make a junction or a link from inside: the link the platform
# must not follow is made here, before the test that walks, wipes and deletes
# the folder holding it.
set(link_fixture ${CMAKE_CURRENT_BINARY_DIR}/link-fixture)
add_test(NAME WindowsHostLinkFixture
         COMMAND sh -c "rm -rf '${link_fixture}' && mkdir -p '${link_fixture}/tree' \
'${link_fixture}/outside' && printf keep > '${link_fixture}/outside/keep.txt' && \
printf mine > '${link_fixture}/tree/mine.txt' && ln -s ../outside '${link_fixture}/tree/link'")
add_test(NAME WindowsHostLinks COMMAND velloran_tests --gtest_filter=WindowsHostLinks.*)
set_tests_properties(WindowsHostLinkFixture PROPERTIES FIXTURES_SETUP HostLink LABELS windows)
set_tests_properties(WindowsHostLinks PROPERTIES FIXTURES_REQUIRED HostLink LABELS windows
                     ENVIRONMENT "VELLORAN_LINK_FIXTURE=${VELLORAN_HOST_ROOT}${link_fixture}")

# The installer and the portable zip, built by the first test and then installed,
# run and uninstalled in a prefix of their own (the installer writes to the
# machine's part of the registry, and the test takes drive Z: away).
add_test(NAME WindowsDownloadsBuild
         COMMAND ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target installer portable)
add_test(NAME WindowsInstaller
         COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/packaging/windows_installer.py
                 ${PROJECT_SOURCE_DIR}/cmake/wine-run.sh ${CMAKE_BINARY_DIR}/wineprefix-setup
                 ${VELLORAN_SETUP} ${VELLORAN_PORTABLE} ${PROJECT_VERSION})
set_tests_properties(WindowsDownloadsBuild PROPERTIES FIXTURES_SETUP Downloads LABELS windows
                     TIMEOUT 600)
set_tests_properties(WindowsInstaller PROPERTIES FIXTURES_REQUIRED Downloads LABELS windows
                     TIMEOUT 900)

# The Win32 front end's own parts on Wine's null display driver.
add_executable(velloran_win32_tests win32/ViewTest.cpp win32/Win32HostTest.cpp)
target_link_libraries(velloran_win32_tests PRIVATE velloran_win32 gtest gtest_main)
# One at a time: on a loaded machine Wine's desktop can refuse a window to one of
# two processes creating theirs at once.
gtest_discover_tests(velloran_win32_tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 300
                     PROPERTIES LABELS windows TIMEOUT 120 RUN_SERIAL TRUE)

# velloran.exe end to end: a driver program works its real windows under Wine's
# X11 driver on a virtual display (cmake/wine-gui-run.sh; skipped without
# xvfb-run), in a prefix of its own set to Windows XP.
add_executable(velloran_gui_driver win32/Driver.cpp)
target_link_libraries(velloran_gui_driver PRIVATE advapi32 user32 gdi32)
add_dependencies(velloran_gui_driver velloran)
set(gui_run ${PROJECT_SOURCE_DIR}/cmake/wine-gui-run.sh ${VELLORAN_WINEPREFIX}-gui)
foreach(scenario clean cancel)
  add_test(NAME Win32.EndToEnd.${scenario}
           COMMAND ${gui_run} $<TARGET_FILE:velloran_gui_driver>
                   ${VELLORAN_HOST_ROOT}$<TARGET_FILE:velloran> ${scenario})
  set_tests_properties(Win32.EndToEnd.${scenario} PROPERTIES LABELS "windows;gui" TIMEOUT 300
                       SKIP_RETURN_CODE 77 RUN_SERIAL TRUE)
endforeach()
