# Toolchain: 32-bit Windows by Debian's MinGW-w64 with POSIX threads; tests run through Wine.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(VEX_MINGW i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
