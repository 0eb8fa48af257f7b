// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// Who is inside something of the whole process, which at the end of the library goes only when
/// nobody is. Threads that go on while the process ends then find it whole, or nothing. Internal to
/// the library.
///
/// In static storage, constant at first and never destroyed.
class Visits {
public:
  constexpr Visits() noexcept = default;
  Visits(Visits const &) = delete;
  Visits &operator=(Visits const &) = delete;

  /// Lets nobody in any more, and waits for about a second until everybody has left. Threads that a
  /// fork left behind in the parent do not count.
  /// @return whether they have: else what they are inside must stay.
  bool close() noexcept;

private:
  friend class Visit;

  bool enter(std::uint32_t process) noexcept;
  void leave(std::uint32_t process) noexcept;

  std::atomic<bool> is_closed_{false};
  // The number of visitors, and above it that of the process whose they are (`fork_count`).
  std::atomic<std::uint64_t> inside_{0};
};

/// One visit, until the end of a block.
class Visit {
public:
  explicit Visit(Visits &visits) noexcept;
  Visit(Visit const &) = delete;
  Visit &operator=(Visit const &) = delete;
  ~Visit() {
    if (is_inside_) {
      visits_.leave(process_);
    }
  }

  /// False when nobody is let in any more.
  explicit operator bool() const noexcept { return is_inside_; }

private:
  Visits &visits_;
  std::uint32_t const process_;
  bool const is_inside_;
};

} // namespace Ostrel
