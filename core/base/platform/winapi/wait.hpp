// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>
#include <cstdint>
#include <ctime>

namespace Ostrel {

/// The moment on the monotonic clock at which a wait gives up, so that neither a change of the
/// calendar time nor an interruption stretches it.
class Deadline {
public:
  /// @param milliseconds  from now; `INFINITE` means never.
  explicit Deadline(DWORD milliseconds) noexcept;

  /// The moment, absolute on `CLOCK_MONOTONIC`; null for never.
  timespec const *moment() const noexcept { return is_never_ ? nullptr : &moment_; }

  bool is_over() const noexcept;

private:
  bool is_never_;
  timespec moment_{};
};

/// What the thread sleeps on; null at first and while it is awake. Read by its signal handler: a
/// thread that is ended in its sleep passes on a wake-up that it may have received.
inline thread_local std::atomic<std::uint32_t> *volatile word_slept_on
    __attribute__((tls_model("initial-exec"))) = nullptr;

/// Sleeps while `word` has the value `expected`, until a wake-up or the deadline.
/// @return false when the deadline has passed; true otherwise, possibly without reason.
bool sleep_on(std::atomic<std::uint32_t> &word, std::uint32_t expected,
              Deadline const &deadline) noexcept;

/// Wakes one thread that sleeps on `word`. Only the address is used: the word itself may be gone.
void wake_one(std::atomic<std::uint32_t> *word) noexcept;

/// Wakes all of them, likewise.
void wake_all(std::atomic<std::uint32_t> *word) noexcept;

} // namespace Ostrel
