// SPDX-License-Identifier: Apache-2.0
// The additions on POSIX that need no state of a Windows call.
#include "core/base/platform/winapi/system.hpp"

#include "core/base/platform/posix/deadline.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr int MOST_LINKS = 40; // as many as the kernel follows

constexpr std::int64_t LONGEST_PAUSE_NS = 1000000, SHORTEST_PAUSE_NS = 100000;

// Replaces the path of a link by the path to which it points, which may be relative to the link's
// directory. `target` has PATH_MAX characters. False, with `errno`, if it is no link.
bool follow_one_link(char *target) {
  char text[PATH_MAX];
  ssize_t const length = readlink(target, text, sizeof text);
  if (length == -1) {
    return false;
  }
  auto const text_length = static_cast<std::size_t>(length);
  std::size_t const kept =
      text[0] == '/' ? 0 : static_cast<std::size_t>(last_part(target) - target);
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

// The pause between two attempts to get a lock. The longer a process has waited, the more often it
// tries, so that in most cases the one that came first gets the lock.
timespec pause_after(std::int64_t waited_ns) {
  constexpr std::int64_t DECREASE = 500; // ns of waiting for each ns less
  return {0, std::max(SHORTEST_PAUSE_NS, LONGEST_PAUSE_NS - waited_ns / DECREASE)};
}

constexpr int NO_DIRECTORY = -1;

std::atomic<int> locked_directory{NO_DIRECTORY}; // its descriptor

// In the child of a fork: its copy of the descriptor would keep the lock.
void close_directory_lock() noexcept {
  Descriptor const directory(locked_directory.exchange(NO_DIRECTORY));
}

} // namespace

char const *const SHARED_LIBRARY_EXTENSION = ".so";

bool const REPLACE_FILE_FLUSHES = true;

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
  struct stat end = {}, named = {};
  bool const exists = stat(native.c_str(), &end) == 0;
  if (!exists && errno != ENOENT) { // also if the links form a circle
    return fail_with_errno();
  }
  char current[PATH_MAX];
  std::memcpy(current, native.c_str(), std::strlen(native.c_str()) + 1);
  int links = 0;
  while (links <= MOST_LINKS && follow_one_link(current)) {
    ++links;
  }
  errno = links > MOST_LINKS ? ELOOP : errno;
  if (errno != EINVAL && errno != ENOENT) { // neither the end of the links nor a missing file
    return fail_with_errno();
  }
  bool is_target = links > 0 && is_expressible(current);
  if (links > 0 && !is_target && !exists) {
    return fail(ERROR_NOT_SUPPORTED);
  }
  // A link below /proc leads to an open file, which its text may not name.
  if (is_target && exists) {
    if (stat(current, &named) != 0 && errno != ENOENT) {
      return fail_with_errno();
    }
    is_target = end.st_dev == named.st_dev && end.st_ino == named.st_ino;
  }
  char const *const result = is_target ? current : path;
  return static_cast<std::size_t>(std::snprintf(target, size, "%s", result)) < size ||
         fail(ERROR_INSUFFICIENT_BUFFER);
}

// `flock`, since a record lock on a directory is impossible: it needs a descriptor for writing. Its
// wait cannot be bounded, so the call is repeated. Opens the directory each time: a child that is
// forked in a pause would share a descriptor, and with it the lock.
bool lock_directory_of(char const *file, std::uint32_t timeout_ms, bool *had_to_wait) noexcept {
  NotCancelled const here;
  NativePath const native(file);
  if (!native.is_valid()) {
    return false;
  }
  std::int64_t const start = monotonic_ns();
  Deadline const end(timeout_ms);
  for (;;) {
    {
      Descriptor directory = open_directory_of(native.c_str());
      if (directory.is_open() &&
          retry([&directory] { return flock(directory.get(), LOCK_EX | LOCK_NB); }) == 0) {
        AtFork::set_child_step(AtFork::DIRECTORY_LOCK, close_directory_lock);
        locked_directory = directory.release();
        return true;
      }
    }
    if (errno != EWOULDBLOCK || end.is_over()) {
      return fail_with_errno();
    }
    *had_to_wait = true;
    timespec const pause = pause_after(monotonic_ns() - start);
    clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
  }
}

// Unlocks explicitly: a child may have its copy of the descriptor for a moment.
void unlock_directory(bool had_to_wait) noexcept {
  NotCancelled const here;
  {
    Descriptor const directory(locked_directory.exchange(NO_DIRECTORY));
    if (directory.is_open()) { // else in a child that was forked by the thread that holds the lock
      flock(directory.get(), LOCK_UN);
    }
  }
  if (had_to_wait) {
    timespec const pause = {0, LONGEST_PAUSE_NS};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
  }
}

void ThreadInWait::begin() noexcept {}

void ThreadInWait::end() noexcept {
  thread_ = 0;
}

bool ThreadInWait::has_ended() const noexcept {
  return false;
}

} // namespace Ostrel
