// SPDX-License-Identifier: Apache-2.0
// GetLastError, SetLastError and FormatMessageA, on a number of each thread. The number is the
// layer's own rather than `errno`, which every call of the C library may change.
#include "core/base/platform/winapi/error.hpp"

#include "core/base/platform/winapi/system.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <dlfcn.h>

namespace {

constexpr std::size_t LONGEST_TEXT = 512; // characters, terminator included
constexpr int UNKNOWN = -1;               // in the place of an error number

struct LastError {
  static constexpr int LOADER = -1;

  DWORD number = ERROR_SUCCESS;
  int reason = 0; // the `errno` behind the number, LOADER for the loader's message, or 0
};

// Accessed without a call and without memory: it must work when there is no memory.
thread_local LastError last_error;

struct ErrorPair {
  int posix;
  DWORD windows;
};

// A number of either side is converted to the first one beside it.
constexpr ErrorPair ERROR_PAIRS[] = {
    {0, ERROR_SUCCESS},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOENT, ERROR_MOD_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {ELOOP, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EROFS, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {ETXTBSY, ERROR_ACCESS_DENIED},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EAGAIN, ERROR_SHARING_VIOLATION}, // another process has locked the file
    {EIO, ERROR_IO_DEVICE},
    {ESTALE, ERROR_UNEXP_NET_ERR},
    {ETIMEDOUT, ERROR_SEM_TIMEOUT},
    {EPIPE, ERROR_WRITE_FAULT},
    {ENOTSUP, ERROR_NOT_SUPPORTED},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EEXIST, ERROR_FILE_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {EFAULT, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {ERANGE, ERROR_INSUFFICIENT_BUFFER},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
};

int errno_of(DWORD number) noexcept {
  auto const *const pair =
      std::find_if(std::begin(ERROR_PAIRS), std::end(ERROR_PAIRS),
                   [number](ErrorPair const &candidate) { return candidate.windows == number; });
  return pair == std::end(ERROR_PAIRS) ? UNKNOWN : pair->posix;
}

} // namespace

DWORD GetLastError() {
  return last_error.number;
}

void SetLastError(DWORD error) {
  last_error = {error, 0};
}

namespace Ostrel {

BOOL fail(DWORD error) noexcept {
  SetLastError(error);
  return FALSE;
}

BOOL fail_with_errno() noexcept {
  last_error = {error_from_errno(errno), errno};
  return FALSE;
}

BOOL fail_with_errno(DWORD error) noexcept {
  last_error = {error, errno};
  return FALSE;
}

BOOL fail_in_loader(DWORD error) noexcept {
  last_error = {error, LastError::LOADER};
  return FALSE;
}

DWORD error_of_open(int error) noexcept {
  return error == ENOMEM ? ERROR_NO_SYSTEM_RESOURCES : error_from_errno(error);
}

DWORD error_from_errno(int error) noexcept {
  auto const *const pair =
      std::find_if(std::begin(ERROR_PAIRS), std::end(ERROR_PAIRS),
                   [error](ErrorPair const &candidate) { return candidate.posix == error; });
  return pair == std::end(ERROR_PAIRS) ? ERROR_GEN_FAILURE : pair->windows;
}

LastErrorGuard::LastErrorGuard() noexcept
    : number_(last_error.number), reason_(last_error.reason) {}

LastErrorGuard::~LastErrorGuard() {
  last_error = {number_, reason_};
}

} // namespace Ostrel

DWORD FormatMessageA(DWORD flags, void const *source, DWORD message, DWORD /*language*/,
                     char *buffer, DWORD size, void *arguments) {
  if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) || source != nullptr ||
      arguments != nullptr || size == 0) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return 0;
  }
  auto const [number, reason] = last_error;
  int error = number == message && reason > 0 ? reason : errno_of(message);
  char const *const loader = number == message && reason == LastError::LOADER ? dlerror() : nullptr;
  if (loader == nullptr && error == UNKNOWN) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return 0;
  }
  char text[LONGEST_TEXT];
  std::snprintf(buffer, size, "%s",
                loader != nullptr ? loader : strerror_r(error, text, sizeof text));
  return static_cast<DWORD>(std::strlen(buffer));
}
