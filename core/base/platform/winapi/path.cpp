// SPDX-License-Identifier: Apache-2.0
// The two forms of a path, the current directory, file status. Windows' separators and drives exist
// only in paths that callers pass in. A path from the system is returned unchanged: a backslash in
// it is a character of a name.
#include "core/base/platform/winapi/path.hpp"

#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/system.hpp"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Ostrel::NativePath;

constexpr mode_t DEFAULT_DIRECTORY_MODE = 0777;

bool is_letter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

} // namespace

namespace Ostrel {

NativePath::NativePath(char const *path) noexcept {
  std::size_t const length = path == nullptr ? sizeof text_ : strnlen(path, sizeof text_);
  if (length == sizeof text_) {
    errno = path == nullptr ? EINVAL : ENAMETOOLONG;
    fail_with_errno();
    return;
  }
  std::memcpy(text_, path, length + 1);
  to_native_path(text_);
  is_valid_ = true;
}

std::size_t drive_length(char const *path) noexcept {
  constexpr std::size_t LETTER_AND_COLON = 2;
  return is_letter(path[0]) && path[1] == ':' && is_separator(path[2]) ? LETTER_AND_COLON : 0;
}

char const *last_part(char const *path) noexcept {
  char const *const separator = std::strrchr(path, '/');
  return separator == nullptr ? path : separator + 1;
}

Descriptor open_directory_of(char const *path) noexcept {
  char directory[PATH_MAX] = ".";
  std::memcpy(directory, path, static_cast<std::size_t>(last_part(path) - path));
  return Descriptor::open(directory, O_RDONLY | O_DIRECTORY);
}

} // namespace Ostrel

char *_getcwd(char *buffer, int size) {
  return getcwd(buffer, static_cast<std::size_t>(size));
}

DWORD GetCurrentDirectoryA(DWORD size, char *buffer) {
  if (getcwd(buffer, size) != nullptr) {
    return static_cast<DWORD>(std::strlen(buffer));
  }
  if (errno == ERANGE) {
    return 2 * size;
  }
  Ostrel::fail_with_errno();
  return 0;
}

int _mkdir(char const *path) {
  NativePath const native(path);
  return native.is_valid() ? mkdir(native.c_str(), DEFAULT_DIRECTORY_MODE) : -1;
}

int _stat64(char const *path, struct __stat64 *status) {
  NativePath const native(path);
  struct stat native_status = {};
  if (!native.is_valid() || stat(native.c_str(), &native_status) != 0) {
    return -1;
  }
  status->st_mode = static_cast<unsigned short>(native_status.st_mode);
  return 0;
}
