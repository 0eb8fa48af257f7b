// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/ForkLocks.hpp"

#include "core/base/foundation/IAcquirable.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>
#include <utility>

namespace Ostrel {

namespace {

constexpr int RANKS = ForkLocks::HIERARCHY + 1;
constexpr int LONGEST_WAIT_MS = 2000; // twice what a thread that forks waits for locks

std::atomic<ForkLocks::Lock const *> locks[RANKS];

// How many threads hold locks to fork, or are taking them. Sequentially consistent, with the end of
// a lock: either that waits for the thread, or the thread does not find the lock.
std::atomic<int> forking{0};

struct Taken {
  ForkLocks::Lock const *lock; // null when there is none of that rank
  IAcquirable *target;
};

// By the calling thread, which is forking.
thread_local Taken held[RANKS] __attribute__((tls_model("initial-exec")));
thread_local DWORD forked_process_id __attribute__((tls_model("initial-exec")));

void take_all() {
  ++forking;
  forked_process_id = GetCurrentProcessId();
  for (int rank = 0; rank < RANKS; ++rank) {
    ForkLocks::Lock const *const lock = locks[rank].load(std::memory_order_acquire);
    held[rank] = {lock, lock != nullptr ? lock->take() : nullptr};
  }
}

void give_all_back() {
  DWORD const process_id = std::exchange(forked_process_id, 0);
  if (process_id == 0) {
    return; // the library was loaded meanwhile
  }
  bool const is_child = process_id != GetCurrentProcessId();
  for (int rank = RANKS - 1; rank >= 0; --rank) {
    Taken const last = std::exchange(held[rank], Taken());
    if (last.lock == nullptr) {
      continue;
    }
    if (is_child && last.lock->in_child != nullptr) {
      last.lock->in_child();
    }
    last.lock->give_back(last.target);
  }
  if (is_child) {
    forking = 0; // others who were forking are not there
  } else {
    --forking;
  }
}

constexpr ForkSteps STEPS = {take_all, give_all_back};

[[maybe_unused]] bool const called_from_load_on = (call_around_fork(STEPS), true);

} // namespace

void ForkLocks::add(Rank rank, Lock const &lock) noexcept {
  locks[rank].store(&lock, std::memory_order_release);
}

// The second attempt follows an owner that ended inside: the first one only tells of it.
IAcquirable *ForkLocks::acquire(IAcquirable *target) {
  bool const is_had = target != nullptr && (target->acquire() || target->acquire());
  return is_had ? target : nullptr;
}

void ForkLocks::release(IAcquirable *taken) {
  if (taken != nullptr) {
    taken->release();
  }
}

bool ForkLocks::wait_for_all() noexcept {
  for (int waited_ms = 0; forking > 0; ++waited_ms) {
    if (waited_ms == LONGEST_WAIT_MS) {
      return false;
    }
    Sleep(1);
  }
  return true;
}

} // namespace Ostrel
