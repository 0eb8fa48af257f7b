// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The operating-system calls of the platform layer. On Windows they are the system's own;
/// elsewhere the sources beside this header implement, with Windows' names, values, argument order
/// and way of failing, just those that the library uses. This is the one place that knows the
/// system.

#ifdef _WIN32

#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <conio.h>
#include <direct.h>
#include <stdlib.h>
#include <sys/stat.h>

#else

#include <cstddef>
#include <cstdint>

// --- Types ------------------------------------------------------------------------------------

using BOOL = int;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using WORD = std::uint16_t;
using BYTE = unsigned char;
using HANDLE = void *;
using HKEY = void *;
using REGSAM = DWORD;

union LARGE_INTEGER {
  std::int64_t QuadPart;
};

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  void *lpSecurityDescriptor;
  BOOL bInheritHandle;
};

struct OVERLAPPED;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr std::size_t MAX_PATH = 260; // characters, terminator included
inline HANDLE const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});

// --- Errors: error.cpp ------------------------------------------------------------------------

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_WRITE_FAULT = 29;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NOT_OWNER = 288;

/// The calling thread's last-error number: set by the calls below where they fail.
DWORD GetLastError();
void SetLastError(DWORD error);

#endif
