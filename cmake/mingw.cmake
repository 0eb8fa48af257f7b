# SPDX-License-Identifier: Apache-2.0
# Builds for Windows with Debian's g++-mingw-w64-x86-64 and runs the programs under wine64, which the
# package does not install on PATH. Only the compiler variant with POSIX threads has std::thread and
# std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs start without Wine's desktop services, which would keep the output open after the program
# ends. tests/CMakeLists.txt creates Wine's registry and drives.
set(OSTBASE_WINE env "WINEPREFIX=${CMAKE_BINARY_DIR}/wine" WINEDEBUG=-all)
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${OSTBASE_WINE} "WINEDLLOVERRIDES=services.exe,explorer.exe,winedbg.exe=d"
    /usr/lib/wine/wine64)
