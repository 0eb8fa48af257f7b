// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// A lock that one thread holds alone, or several together. Who waits to have it alone comes before
/// all who come later: they cannot keep each other's turn going for ever.
///
/// One word, constant at first and never destroyed. It knows no owner, so that a child of fork, in
/// which nobody else is left, can make it anew. No wait for it is a point of cancellation.
class ShareableLock {
public:
  constexpr ShareableLock() noexcept = default;
  ShareableLock(ShareableLock const &) = delete;
  ShareableLock &operator=(ShareableLock const &) = delete;

  /// @return false when it could not be had in that time, which `INFINITE` does not limit.
  bool lock(DWORD milliseconds) noexcept;
  void lock_shared() noexcept;

  /// Gives it back, however the calling thread holds it.
  void unlock() noexcept;

  /// Makes it nobody's, for the only thread that there is.
  void reset() noexcept { state_.store(0, std::memory_order_relaxed); }

private:
  bool take(bool alone, DWORD milliseconds) noexcept;
  bool try_to_take(bool alone, std::uint32_t *state) noexcept;

  std::atomic<std::uint32_t> state_{0}; // who holds it, and whether others wait
};

} // namespace Ostrel
