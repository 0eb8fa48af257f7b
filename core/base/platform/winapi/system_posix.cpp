// SPDX-License-Identifier: Apache-2.0
// The additions on POSIX that need no state of a Windows call.
#include "core/base/platform/winapi/system.hpp"

#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <cerrno>
#include <climits>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr int MAX_LINKS = 40; // as many as the kernel follows

// Replaces the path of a link by the path to which it points, which may be relative to the link's
// directory. `target` has PATH_MAX characters. False, with `errno`, if it is no link.
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

// Whether the layer reads a path of the system unchanged.
bool is_expressible(char const *path) {
  return std::strchr(path, '\\') == nullptr && drive_length(path) == 0;
}

// Whether an error is a property of the path, and no failure of the disk.
bool is_of_path(int error) {
  return error == ENOENT || error == ENOTDIR || error == EACCES || error == ELOOP ||
         error == ENAMETOOLONG;
}

// Whether the end of the links is the file that their text names: a link below /proc leads to an
// open file, whatever its text is. True also if there is no file yet. False, with `errno`, if the
// disk fails.
bool compare_ends(char const *link, char const *text, bool *is_same) {
  struct stat end = {}, named = {};
  bool const exists = stat(link, &end) == 0;
  if (!exists && !is_of_path(errno)) {
    return false;
  }
  bool const is_named = exists && stat(text, &named) == 0;
  if (exists && !is_named && !is_of_path(errno)) {
    return false;
  }
  *is_same = !exists || (is_named && end.st_dev == named.st_dev && end.st_ino == named.st_ino);
  return true;
}

} // namespace

char const *const SHARED_LIBRARY_EXTENSION = ".so";

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
  if (errno != EINVAL && errno != ENOENT) { // neither the end of the links nor a missing file
    return fail_with_errno();
  }
  bool is_target = links > 0;
  if (is_target && !is_expressible(current)) {
    struct stat end = {};
    if (stat(native.c_str(), &end) != 0) {
      return fail(ERROR_NOT_SUPPORTED);
    }
    is_target = false;
  }
  if (is_target && !compare_ends(native.c_str(), current, &is_target)) {
    return fail_with_errno();
  }
  char const *const result = is_target ? current : path;
  std::size_t const length = std::strlen(result);
  if (length >= size) {
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(target, result, length + 1);
  return true;
}

void ThreadInWait::begin() noexcept {}

void ThreadInWait::end() noexcept {
  thread_ = 0;
}

bool ThreadInWait::has_ended() const noexcept {
  return false;
}

} // namespace Ostrel
