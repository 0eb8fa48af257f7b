// SPDX-License-Identifier: Apache-2.0
// The two forms of a path, the current directory, file status. Windows' separators and drives exist
// in what comes in alone: a path that the system gives is handed out untouched, since its
// backslashes, if it has any, are characters of names.
#include "core/base/platform/winapi/path.hpp"

#include "core/base/platform/winapi/error.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Ostrel::NativePath;

constexpr int MAX_LINKS = 40; // as many as the kernel follows
constexpr mode_t DEFAULT_DIRECTORY_MODE = 0777;

bool is_letter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Takes one step from a link to what it names: a text relative to the link's own directory.
// `target` is long enough for any path. False, with errno, when `target` is no link.
bool follow_one_link(char *target) {
  char text[PATH_MAX];
  ssize_t const length = readlink(target, text, sizeof text);
  if (length == -1) {
    return false;
  }
  char const *last = std::strrchr(target, '/');
  std::size_t const kept =
      text[0] == '/' || last == nullptr ? 0 : static_cast<std::size_t>(last + 1 - target);
  auto const text_length = static_cast<std::size_t>(length);
  if (kept + text_length >= PATH_MAX) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(target + kept, text, text_length);
  target[kept + text_length] = '\0';
  return true;
}

// Whether the layer takes the system's path for what it is.
bool is_read_as_it_stands(char const *path) {
  return std::strchr(path, '\\') == nullptr && Ostrel::drive_length(path) == 0;
}

// Whether the error says that there is no such file for this process, and not that the disk fails.
bool says_of_path(int error) {
  return error == ENOENT || error == ENOTDIR || error == EACCES || error == ELOOP ||
         error == ENAMETOOLONG;
}

// Tells whether following the text of the links led where the system goes; true when nothing is
// there yet. False, with errno, when the disk does not say.
bool compare_ends(char const *link, char const *target, bool *is_same) {
  struct stat there = {}, found = {};
  bool const is_there = stat(link, &there) == 0;
  if (!is_there && !says_of_path(errno)) {
    return false;
  }
  bool const is_found = is_there && stat(target, &found) == 0;
  if (is_there && !is_found && !says_of_path(errno)) {
    return false;
  }
  *is_same =
      !is_there || (is_found && there.st_dev == found.st_dev && there.st_ino == found.st_ino);
  return true;
}

} // namespace

namespace Ostrel {

NativePath::NativePath(char const *path) noexcept {
  if (path == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    errno = EINVAL;
    return;
  }
  std::size_t const length = strnlen(path, sizeof text_);
  if (length == sizeof text_) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    errno = ENAMETOOLONG;
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

void to_native_path(char *path) noexcept {
  char const *from = path + drive_length(path);
  for (; *from != '\0'; ++from, ++path) {
    *path = *from == '\\' ? '/' : *from;
  }
  *path = '\0';
}

bool follow_links(char const *path, char *target, std::size_t size) noexcept {
  NativePath const native(path);
  if (!native.is_valid()) {
    return false;
  }
  char current[PATH_MAX];
  std::memcpy(current, native.c_str(), std::strlen(native.c_str()) + 1);
  int links = 0;
  while (links <= MAX_LINKS && follow_one_link(current)) {
    ++links;
  }
  if (links > MAX_LINKS) {
    return fail(ERROR_PATH_NOT_FOUND);
  }
  if (errno != EINVAL && errno != ENOENT) { // neither at what is no link, nor at nothing
    return fail_with_errno();
  }
  bool const is_spelled = is_read_as_it_stands(current);
  struct stat there = {};
  if (!is_spelled && stat(native.c_str(), &there) != 0) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  // The links below /proc name open files, whatever their text says: they stay what they are. So
  // does a link whose text would be taken for another path.
  bool is_link = links > 0 && is_spelled;
  if (is_link && !compare_ends(native.c_str(), current, &is_link)) {
    return fail_with_errno();
  }
  char const *result = is_link ? current : path;
  std::size_t const length = std::strlen(result);
  if (length >= size) {
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(target, result, length + 1);
  return true;
}

} // namespace Ostrel

char *_getcwd(char *buffer, int size) {
  if (buffer == nullptr || size <= 0) {
    errno = EINVAL;
    return nullptr;
  }
  return getcwd(buffer, static_cast<std::size_t>(size));
}

DWORD GetCurrentDirectoryA(DWORD size, char *buffer) {
  struct Free {
    void operator()(char *text) const { std::free(text); }
  };
  // The C library's own allocation: a directory may be deeper than any path that it takes.
  std::unique_ptr<char, Free> const current(getcwd(nullptr, 0));
  if (current == nullptr) {
    Ostrel::fail_with_errno();
    return 0;
  }
  std::size_t const length = std::strlen(current.get());
  if (buffer == nullptr || length >= size) {
    return static_cast<DWORD>(length + 1);
  }
  std::memcpy(buffer, current.get(), length + 1);
  return static_cast<DWORD>(length);
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
