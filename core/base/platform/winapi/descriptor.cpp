// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/winapi/descriptor.hpp"

#include "core/base/platform/winapi/error.hpp"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace Ostrel {

namespace {

// Holds the numbers of the closed standard streams, so that no other thread opens a file under one
// of them meanwhile. What holds them can neither be read nor written: uses of the stream fail as
// before.
class ClosedStreams {
public:
  ClosedStreams() noexcept {
    NotCancelled const here;
    for (Descriptor &held : held_) {
      Descriptor lowest(::open("/", O_PATH | O_CLOEXEC));
      if (!lowest.is_open() || lowest.get() > STDERR_FILENO) {
        return;
      }
      held = std::move(lowest);
    }
  }

private:
  Descriptor held_[STDERR_FILENO + 1];
};

// Why a name cannot be opened. The kernel reserves the descriptor before it looks the name up, so
// that a lack of either hides that there is no such file.
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
  ClosedStreams const held;
  Descriptor opened(retry([=] { return ::openat(directory, name, flags | O_CLOEXEC, mode); }));
  if (!opened.is_open()) {
    errno = error_of_open_at(directory, name, flags, errno);
  }
  // A stream may have been closed since.
  opened.leave_standard_streams();
  return opened;
}

void Descriptor::leave_standard_streams() noexcept {
  if (!is_open() || descriptor_ > STDERR_FILENO) {
    return;
  }
  Descriptor moved(fcntl(descriptor_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  int const error = errno;
  *this = Descriptor(std::move(moved));
  errno = error;
}

} // namespace Ostrel
