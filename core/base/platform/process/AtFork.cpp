// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/process/AtFork.hpp"

#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/process/Rundown.hpp"
#include "core/base/platform/winapi/system.hpp"

#include <atomic>
#include <cstdint>

namespace Ostrel {

namespace {

constexpr std::uint32_t LONGEST_WAIT_MS = 1000; // for each mutex, until the first wait times out
constexpr std::uint32_t SHORT_WAIT_MS = 50;     // for each further mutex

std::atomic<void (*)() noexcept> child_steps[AtFork::CHILD_STEPS];
std::atomic<unsigned int> forks{0};

ProcessMutex &mutex_of(int rank) noexcept {
  return ProcessMutex::of(static_cast<ProcessMutex::Rank>(rank));
}

} // namespace

void AtFork::set_child_step(ChildStep step, void (*function)() noexcept) noexcept {
  child_steps[step].store(function, std::memory_order_release);
}

unsigned int AtFork::generation() noexcept {
  return forks.load(std::memory_order_relaxed);
}

void AtFork::before() noexcept {
  std::uint32_t timeout_ms = LONGEST_WAIT_MS;
  for (int rank = 0; rank < ProcessMutex::RANKS; ++rank) {
    if (!mutex_of(rank).acquire_within(timeout_ms)) {
      timeout_ms = SHORT_WAIT_MS;
    }
  }
}

// The thread does not own a mutex that it could not acquire, and so the release of that one fails.
void AtFork::after_in_parent() noexcept {
  LastErrorGuard const guard;
  for (int rank = ProcessMutex::RANKS - 1; rank >= 0; --rank) {
    mutex_of(rank).release();
  }
}

void AtFork::after_in_child() noexcept {
  forks.fetch_add(1, std::memory_order_relaxed);
  for (auto const &step : child_steps) {
    if (auto *const function = step.load(std::memory_order_acquire); function != nullptr) {
      function();
    }
  }
  Rundown::forget_other_threads();
  after_in_parent();
}

} // namespace Ostrel
