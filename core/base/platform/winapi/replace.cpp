// SPDX-License-Identifier: Apache-2.0
// Removing, replacing and renaming files. `rename` replaces a file in one step, but the new file
// has its own owner, permissions and attributes: those of the old file are copied to it first, and
// if that fails, `rename` is not called. `rename` does not flush either, so the directory is opened
// before and flushed afterwards.
#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using Ostrel::Descriptor;
using Ostrel::fail;
using Ostrel::fail_with_errno;
using Ostrel::NativePath;
using Ostrel::open_directory_of;
using Ostrel::retry;

constexpr mode_t PERMISSIONS = 07777;
constexpr char const *ACCESS_LIST = "system.posix_acl_access";

// Reads all that `get(buffer, size)` writes; with size 0 it returns the size needed. False on
// failure. Throws std::bad_alloc.
template <typename Get> bool read_bytes(Get get, std::string *bytes) {
  ssize_t size = retry([&get] { return get(nullptr, 0); });
  if (size > 0) {
    bytes->resize(static_cast<std::size_t>(size));
    size = retry([=, &get] { return get(bytes->data(), bytes->size()); });
    bytes->resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  }
  return size >= 0;
}

bool copy_attribute(char const *from, int to, char const *name) {
  std::string wanted, present;
  auto const get = [from, name](char *buffer, std::size_t size) {
    return lgetxattr(from, name, buffer, size);
  };
  auto const get_present = [to, name](char *buffer, std::size_t size) {
    return fgetxattr(to, name, buffer, size);
  };
  if (!read_bytes(get, &wanted)) {
    return false;
  }
  // An attribute that the system itself has set for both files, such as a security label, may not
  // be settable.
  return (read_bytes(get_present, &present) && wanted == present) ||
         retry([=, &wanted] { return fsetxattr(to, name, wanted.data(), wanted.size(), 0); }) == 0;
}

// Copies the extended attributes, including the access list, and removes an access list that `to`
// has inherited from its directory.
bool copy_attributes(char const *from, int to) {
  if (retry([to] { return fremovexattr(to, ACCESS_LIST); }) != 0 && errno != ENODATA &&
      errno != ENOTSUP) {
    return false;
  }
  std::string names;
  auto const list = [from](char *buffer, std::size_t size) {
    return llistxattr(from, buffer, size);
  };
  if (!read_bytes(list, &names)) {
    return errno == ENOTSUP;
  }
  for (std::size_t start = 0; start < names.size(); start = names.find('\0', start) + 1) {
    if (!copy_attribute(from, to, &names[start])) {
      return false;
    }
  }
  return true;
}

bool copy_owner(struct stat const &from, int to) {
  struct stat status = {};
  if (retry([to, &status] { return fstat(to, &status); }) != 0) {
    return false;
  }
  return (status.st_uid == from.st_uid && status.st_gid == from.st_gid) ||
         retry([=, &from] { return fchown(to, from.st_uid, from.st_gid); }) == 0;
}

// Until everything is copied, only its owner has access to the file. The owner is set first, since
// a change of owner clears permissions.
bool copy_identity(char const *from, struct stat const &status, int to) {
  return copy_owner(status, to) && copy_attributes(from, to) &&
         retry([=, &status] { return fchmod(to, status.st_mode & PERMISSIONS); }) == 0;
}

// If owner or attributes cannot be copied, because this is not permitted or the file system has no
// place for them, they would be lost: ERROR_NOT_SUPPORTED. A failing disk has its own error.
bool fail_to_copy() {
  bool const is_failing = errno == EIO || errno == ENOSPC || errno == EDQUOT || errno == ENOMEM;
  return is_failing ? fail_with_errno() : fail(ERROR_NOT_SUPPORTED);
}

// Whether a flush failed because the file system cannot flush directories.
bool is_flush_unsupported(int error) {
  return error == EINVAL || error == ENOTSUP || error == EROFS;
}

// A rename cannot be undone. If the flush fails, a crash may still undo it, which is reported.
bool rename_durably(NativePath const &from, NativePath const &to) {
  Descriptor const directory = open_directory_of(to.c_str());
  if (!directory.is_open() && errno != EACCES) { // the directory may not be readable
    return fail_with_errno();
  }
  if (rename(from.c_str(), to.c_str()) != 0) {
    bool const is_mount_point = errno == EBUSY || errno == EXDEV;
    return is_mount_point ? fail(ERROR_NOT_SUPPORTED) : fail_with_errno();
  }
  bool const is_flushed =
      !directory.is_open() || retry([&directory] { return fsync(directory.get()); }) == 0;
  return is_flushed || is_flush_unsupported(errno) || fail_with_errno(ERROR_IO_DEVICE);
}

} // namespace

BOOL DeleteFileA(char const *path) {
  NativePath const native(path);
  return native.is_valid() && (unlink(native.c_str()) == 0 || fail_with_errno());
}

BOOL ReplaceFileA(char const *replaced, char const *replacement, char const *backup, DWORD flags,
                  void *exclude, void *reserved) try {
  if (backup != nullptr || flags != REPLACEFILE_WRITE_THROUGH || exclude != nullptr ||
      reserved != nullptr) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  NativePath const to(replaced), from(replacement);
  if (!to.is_valid() || !from.is_valid()) {
    return FALSE;
  }
  struct stat status = {};
  if (lstat(to.c_str(), &status) != 0) {
    return fail_with_errno();
  }
  if (!S_ISREG(status.st_mode)) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  Descriptor const file = Descriptor::open(from.c_str(), O_WRONLY);
  if (!file.is_open()) {
    return fail_with_errno();
  }
  if (!copy_identity(to.c_str(), status, file.get())) {
    return fail_to_copy();
  }
  // Not the number for the `errno`, which may mean that the file can only be overwritten.
  if (retry([&file] { return fsync(file.get()); }) != 0) {
    return fail_with_errno(ERROR_IO_DEVICE);
  }
  return rename_durably(from, to);
} catch (std::bad_alloc const &) {
  return fail(ERROR_NOT_ENOUGH_MEMORY);
}

BOOL MoveFileExA(char const *from, char const *to, DWORD flags) {
  if (flags != (MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  NativePath const native_from(from), native_to(to);
  return native_from.is_valid() && native_to.is_valid() && rename_durably(native_from, native_to);
}
