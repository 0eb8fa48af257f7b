// SPDX-License-Identifier: Apache-2.0
// GetLastError and SetLastError, on a number of each thread. The number is the layer's own rather
// than `errno`, which every call of the C library may change.
#include "core/base/platform/winapi/error.hpp"

namespace {

// Reached without a call and without memory: it must be there when memory is what is missing.
thread_local DWORD last_error __attribute__((tls_model("initial-exec"))) = ERROR_SUCCESS;

struct ErrorPair {
  int posix;
  DWORD windows;
};

constexpr ErrorPair ERROR_PAIRS[] = {
    {0, ERROR_SUCCESS},
    {ENOENT, ERROR_FILE_NOT_FOUND},
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
    {EAGAIN, ERROR_SHARING_VIOLATION}, // of a file that is lent to somebody else
    {EIO, ERROR_IO_DEVICE},
    {ESTALE, ERROR_UNEXP_NET_ERR},
    {ETIMEDOUT, ERROR_SEM_TIMEOUT},
    {EPIPE, ERROR_WRITE_FAULT},
    {ENOTSUP, ERROR_NOT_SUPPORTED},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {EFAULT, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {ERANGE, ERROR_INSUFFICIENT_BUFFER},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
};

} // namespace

DWORD GetLastError() {
  return last_error;
}

void SetLastError(DWORD error) {
  last_error = error;
}

namespace Ostrel {

BOOL fail(DWORD error) noexcept {
  SetLastError(error);
  return FALSE;
}

DWORD error_of_open(int error) noexcept {
  return error == ENOMEM ? ERROR_NO_SYSTEM_RESOURCES : error_from_errno(error);
}

DWORD error_from_errno(int error) noexcept {
  for (ErrorPair const &pair : ERROR_PAIRS) {
    if (pair.posix == error) {
      return pair.windows;
    }
  }
  return ERROR_GEN_FAILURE;
}

} // namespace Ostrel
