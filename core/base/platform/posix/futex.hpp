// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/posix/deadline.hpp"

#include <atomic>
#include <cstdint>

namespace Ostrel {

/// Sleeps while `word` has the value `expected`, until a wake-up or the deadline.
/// @return false when the deadline has passed; true otherwise, possibly without a wake-up.
bool sleep_on(std::atomic<std::uint32_t> &word, std::uint32_t expected,
              Deadline const &deadline) noexcept;

/// Wakes one thread that sleeps on `word`. Uses only the address: the word may be freed already.
void wake_one(std::atomic<std::uint32_t> *word) noexcept;

/// Wakes all threads that sleep on `word`, likewise.
void wake_all(std::atomic<std::uint32_t> *word) noexcept;

} // namespace Ostrel
