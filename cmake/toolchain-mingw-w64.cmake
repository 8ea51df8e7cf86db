# Cross-building the Windows programs on Debian with MinGW-w64 (64-bit). The
# -posix thread model: the -win32 one has no std::thread or std::mutex in GCC 12.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VELLORAN_MINGW_TRIPLE x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${VELLORAN_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VELLORAN_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${VELLORAN_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${VELLORAN_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The C and C++ run times and winpthread linked in: the programs then need only
# the DLLs every Windows has.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
