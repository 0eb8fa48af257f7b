// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/ForkLocks.hpp"

#include "core/base/foundation/IAcquirable.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>
#include <utility>

namespace Ostrel {

namespace {

constexpr int RANKS = ForkLocks::HIERARCHY + 1;

std::atomic<ForkLocks::Lock const *> locks[RANKS];

// By the calling thread, which is forking; null otherwise.
thread_local ForkLocks::Lock const *taken[RANKS] __attribute__((tls_model("initial-exec")));

void take_all() {
  for (int rank = 0; rank < RANKS; ++rank) {
    ForkLocks::Lock const *const lock = locks[rank].load(std::memory_order_acquire);
    taken[rank] = lock != nullptr && lock->take() ? lock : nullptr;
  }
}

void give_all_back() {
  for (int rank = RANKS - 1; rank >= 0; --rank) {
    if (ForkLocks::Lock const *const lock = std::exchange(taken[rank], nullptr); lock != nullptr) {
      lock->give_back();
    }
  }
}

constexpr ForkSteps STEPS = {take_all, give_all_back};

[[maybe_unused]] bool const called_from_load_on = (call_around_fork(STEPS), true);

} // namespace

void ForkLocks::add(Rank rank, Lock const &lock) noexcept {
  locks[rank].store(&lock, std::memory_order_release);
}

// The second attempt follows an owner that ended inside: the first one only tells of it.
bool ForkLocks::acquire(IAcquirable *target) {
  return target != nullptr && (target->acquire() || target->acquire());
}

} // namespace Ostrel
