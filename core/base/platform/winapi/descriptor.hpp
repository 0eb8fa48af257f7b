// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Ostrel {

/// Owns a descriptor and closes it.
class Descriptor {
public:
  Descriptor() noexcept = default;
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  Descriptor(Descriptor &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() {
    if (is_open()) {
      ::close(descriptor_);
    }
  }

  /// Moves the descriptor above those of the standard streams: in a program that has closed one of
  /// them, what is opened next takes its number, and output meant for the stream would go into it.
  /// Nothing is open afterwards, with `errno`, when there is no other number.
  void leave_standard_streams() noexcept {
    if (!is_open() || descriptor_ > STDERR_FILENO) {
      return;
    }
    Descriptor moved(fcntl(descriptor_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    int const error = errno;
    *this = Descriptor(std::move(moved));
    errno = error;
  }

  bool is_open() const noexcept { return descriptor_ >= 0; }
  int get() const noexcept { return descriptor_; }

private:
  int descriptor_ = -1;
};

} // namespace Ostrel
