// SPDX-License-Identifier: Apache-2.0
// GetLastError, SetLastError and FormatMessageA, on a number of each thread. The number is the
// layer's own rather than `errno`, which every call of the C library may change.
#include "core/base/platform/winapi/error.hpp"

#include "core/base/platform/winapi/system.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>

namespace {

constexpr std::size_t LONGEST_TEXT = 512; // characters, terminator included
constexpr int NO_ERRNO = -1;              // in the place of an error number

struct LastError {
  DWORD number = ERROR_SUCCESS;
  int reason = 0; // the `errno` behind the number, NO_ERRNO for the loader's message, or 0
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
  for (ErrorPair const &pair : ERROR_PAIRS) {
    if (pair.windows == number) {
      return pair.posix;
    }
  }
  return NO_ERRNO;
}

DWORD error_from_errno(int error) noexcept {
  for (ErrorPair const &pair : ERROR_PAIRS) {
    if (pair.posix == error) {
      return pair.windows;
    }
  }
  return ERROR_GEN_FAILURE;
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
  return fail_with_errno(error_from_errno(errno));
}

BOOL fail_with_errno(DWORD error) noexcept {
  last_error = {error, errno};
  return FALSE;
}

BOOL fail_in_loader(DWORD error) noexcept {
  last_error = {error, NO_ERRNO};
  return FALSE;
}

LastErrorGuard::LastErrorGuard() noexcept
    : number_(last_error.number), reason_(last_error.reason) {}

LastErrorGuard::~LastErrorGuard() {
  last_error = {number_, reason_};
}

} // namespace Ostrel

DWORD FormatMessageA(DWORD flags, void const *source, DWORD message, DWORD /*language*/,
                     char *buffer, DWORD size, void *arguments) {
  auto const [number, reason] = last_error;
  int const error = reason != 0 ? reason : errno_of(number);
  char const *const loader = reason == NO_ERRNO ? dlerror() : nullptr;
  if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) || source != nullptr ||
      arguments != nullptr || size == 0 || message != number ||
      (error == NO_ERRNO && loader == nullptr)) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return 0;
  }
  char text[LONGEST_TEXT];
  std::snprintf(buffer, size, "%s",
                loader != nullptr ? loader : strerror_r(error, text, sizeof text));
  return static_cast<DWORD>(std::strlen(buffer));
}
