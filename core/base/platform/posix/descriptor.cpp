// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/posix/descriptor.hpp"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace Ostrel {

namespace {

// The kernel reserves the descriptor before it looks up the name, so a lack of descriptors or
// memory hides that the file does not exist. Returns why the name cannot be opened.
int error_of_open_at(int directory, char const *name, int flags, int error) noexcept {
  bool const hides_name = error == EMFILE || error == ENFILE || error == ENOMEM;
  struct stat status = {};
  if (!hides_name || (flags & O_CREAT) != 0 ||
      fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    return error;
  }
  return errno;
}

} // namespace

Descriptor Descriptor::open(char const *path, int flags, mode_t mode) noexcept {
  Descriptor opened = open_at(AT_FDCWD, path, flags, mode);
  struct stat status = {};
  if (opened.is_open() || errno != EAGAIN || stat(path, &status) != 0 || !S_ISREG(status.st_mode)) {
    return opened;
  }
  return open_at(AT_FDCWD, path, flags & ~O_NONBLOCK, mode);
}

Descriptor Descriptor::open_at(int directory, char const *name, int flags, mode_t mode) noexcept {
  Descriptor opened(retry([=] { return ::openat(directory, name, flags | O_CLOEXEC, mode); }));
  if (!opened.is_open()) {
    errno = error_of_open_at(directory, name, flags, errno);
  } else if (opened.get() <= STDERR_FILENO) {
    opened = Descriptor(fcntl(opened.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  return opened;
}

DirectoryReader read_directory(Descriptor directory) noexcept {
  DirectoryReader reader(directory.is_open() ? fdopendir(directory.get()) : nullptr);
  if (reader != nullptr) {
    directory.release();
  }
  return reader;
}

} // namespace Ostrel
