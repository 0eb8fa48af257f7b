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
  return std::strchr(path, '\\') == nullptr && drive_length(path) == 0;
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

void ThreadInWait::begin() noexcept {}

void ThreadInWait::end() noexcept {}

bool ThreadInWait::has_ended() const noexcept {
  return false;
}

} // namespace Ostrel
