// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/posix/error_number.hpp"

#include <memory>
#include <utility>

#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

namespace Ostrel {

/// Owns a descriptor and closes it.
///
/// A file that the layer opens does not keep the number of a standard stream: in a program that has
/// closed one of them, output meant for the stream would go into the file. It has that number for
/// some microseconds, in which the output of another thread still does.
class Descriptor {
public:
  Descriptor() noexcept = default;
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  Descriptor(Descriptor &&other) noexcept : descriptor_(other.release()) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() {
    if (is_open()) {
      NotCancelled const here;
      ErrnoGuard const guard;
      ::close(descriptor_);
    }
  }

  /// Opens a file close-on-exec, and retries the opening while a signal interrupts it. If another
  /// process holds a lease on a regular file, this opens it without O_NONBLOCK and so waits for the
  /// end of the lease. On failure nothing is open, and `errno` has the reason.
  static Descriptor open(char const *path, int flags, mode_t mode = 0) noexcept;

  /// Opens a name below an open directory. Does not wait for leases: the opening fails.
  static Descriptor open_at(int directory, char const *name, int flags, mode_t mode = 0) noexcept;

  bool is_open() const noexcept { return descriptor_ >= 0; }
  int get() const noexcept { return descriptor_; }

  /// Hands the descriptor out: the caller closes it.
  int release() noexcept { return std::exchange(descriptor_, -1); }

private:
  int descriptor_ = -1;
};

struct CloseDirectory {
  void operator()(DIR *directory) const noexcept { closedir(directory); }
};
using DirectoryReader = std::unique_ptr<DIR, CloseDirectory>;

/// Begins to read the names in an open directory. Null, with `errno`, on failure, also if the
/// directory is not open.
DirectoryReader read_directory(Descriptor directory) noexcept;

} // namespace Ostrel
