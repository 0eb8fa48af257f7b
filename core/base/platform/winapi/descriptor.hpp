// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/cancellation.hpp"

#include <utility>

#include <sys/types.h>
#include <unistd.h>

namespace Ostrel {

/// Owns a descriptor and closes it.
///
/// What the layer opens never takes the number of a standard stream: in a program that has closed
/// one of them, output meant for the stream would go into the file.
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
      ::close(descriptor_);
    }
  }

  /// Opens a file as `open` does, close-on-exec, and again for as long as a signal interrupts it.
  /// A regular file is opened without O_NONBLOCK if another process holds a lease on it, since the
  /// lease ends only if its holder has the time. On failure nothing is open afterwards, with
  /// `errno`.
  static Descriptor open(char const *path, int flags, mode_t mode = 0) noexcept;

  /// The same for a name below an open directory, but for leases: such a file is not opened.
  static Descriptor open_at(int directory, char const *name, int flags, mode_t mode = 0) noexcept;

  bool is_open() const noexcept { return descriptor_ >= 0; }
  int get() const noexcept { return descriptor_; }

  /// Hands the descriptor out: the caller closes it.
  int release() noexcept { return std::exchange(descriptor_, -1); }

private:
  // Moves the descriptor above those of the standard streams. Nothing is open afterwards, with
  // `errno`, when there is no other number.
  void leave_standard_streams() noexcept;

  int descriptor_ = -1;
};

} // namespace Ostrel
