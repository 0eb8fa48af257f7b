// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/winapi/shareable_lock.hpp"

#include "core/base/platform/winapi/cancellation.hpp"
#include "core/base/platform/winapi/wait.hpp"

namespace Ostrel {

namespace {

constexpr std::uint32_t ALONE = 1U << 31;    // somebody holds it alone
constexpr std::uint32_t WANTED = 1U << 30;   // somebody waits to: nobody joins those who share it
constexpr std::uint32_t SLEPT_ON = 1U << 29; // somebody is to be woken when nobody holds it
constexpr std::uint32_t SHARES = SLEPT_ON - 1;

} // namespace

bool ShareableLock::lock(DWORD milliseconds) noexcept {
  return take(/*alone=*/true, milliseconds);
}

void ShareableLock::lock_shared() noexcept {
  take(/*alone=*/false, INFINITE);
}

void ShareableLock::unlock() noexcept {
  std::uint32_t state = state_.load(std::memory_order_relaxed), left = 0;
  do {
    left = (state & ALONE) != 0 ? state & ~ALONE : state - 1;
    left &= (left & SHARES) == 0 ? ~SLEPT_ON : ~0U;
  } while (!state_.compare_exchange_weak(state, left, std::memory_order_release,
                                         std::memory_order_relaxed));
  if ((state & SLEPT_ON) != (left & SLEPT_ON)) {
    wake_all(&state_);
  }
}

// False leaves in `state` why it is not to be had.
bool ShareableLock::try_to_take(bool alone, std::uint32_t *state) noexcept {
  std::uint32_t const in_the_way = alone ? ALONE | SHARES : ALONE | WANTED;
  bool is_taken = false;
  while (!is_taken && (*state & in_the_way) == 0) {
    std::uint32_t const taken = alone ? ALONE | (*state & SLEPT_ON) : *state + 1;
    is_taken = state_.compare_exchange_weak(*state, taken, std::memory_order_acquire,
                                            std::memory_order_relaxed);
  }
  return is_taken;
}

bool ShareableLock::take(bool alone, DWORD milliseconds) noexcept {
  std::uint32_t state = state_.load(std::memory_order_relaxed);
  if (try_to_take(alone, &state)) {
    return true;
  }
  NotCancelled const here; // a thread that ended in the wait would leave WANTED set
  Deadline const deadline(milliseconds);
  bool is_in_time = true;
  do {
    std::uint32_t const waited_for = state | SLEPT_ON | (alone ? WANTED : 0);
    if (waited_for == state ||
        state_.compare_exchange_weak(state, waited_for, std::memory_order_relaxed)) {
      is_in_time = sleep_on(state_, waited_for, deadline);
      state = state_.load(std::memory_order_relaxed);
    }
    if (try_to_take(alone, &state)) {
      return true;
    }
  } while (is_in_time);
  // Others who want it alone say so again.
  state_.fetch_and(~(WANTED | SLEPT_ON), std::memory_order_relaxed);
  wake_all(&state_);
  return false;
}

} // namespace Ostrel
