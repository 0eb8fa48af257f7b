# SPDX-License-Identifier: Apache-2.0
# Builds for Windows with what Debian packages as g++-mingw-w64-x86-64, and runs what it builds
# under wine64, whose package puts no command on the path. The variant of the compiler with POSIX
# threads is the one whose standard library has threads and mutexes.
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

# A program starts without the services of a desktop, which would hold its output open long after its
# end. Wine's own registry and drives are made where they are first needed (tests/CMakeLists.txt).
set(OSTBASE_WINE env "WINEPREFIX=${CMAKE_BINARY_DIR}/wine" WINEDEBUG=-all)
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${OSTBASE_WINE} "WINEDLLOVERRIDES=services.exe,explorer.exe,winedbg.exe=d"
    /usr/lib/wine/wine64)
