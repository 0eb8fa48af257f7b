// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32ConditionVariable.hpp"

#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

// Whether the system can release a mutex and wait for an event in one step.
bool can_signal_and_wait() noexcept {
  static bool const is_nt = [] {
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    return GetVersionExA(&version) != FALSE && version.dwPlatformId == VER_PLATFORM_WIN32_NT;
  }();
  return is_nt;
}

[[maybe_unused]] bool const found_at_load = can_signal_and_wait();

} // namespace

OSTBASE_TERMINATION_POINT bool IConditionVariable::acquire() {
  return lock_mutex();
}

bool IConditionVariable::release() {
  return unlock_mutex();
}

// Owned by the condition variable, not on the waiter's stack, since the thread may be terminated.
struct Win32ConditionVariable::Waiter {
  explicit Waiter(Win32ConditionVariable &condition)
      : owner(condition),
        event(CreateEventA(/*security=*/nullptr, /*manual_reset=*/FALSE, /*initial_state=*/FALSE,
                           /*name=*/nullptr)) {}
  Waiter(Waiter const &) = delete;
  Waiter &operator=(Waiter const &) = delete;
  ~Waiter() {
    if (event != nullptr) {
      CloseHandle(event);
    }
  }

  // Its thread was terminated, or is one of a parent process.
  bool has_ended() const { return generation != AtFork::generation() || thread.has_ended(); }

  bool is_waiting() const { return state == State::WAITING && !has_ended(); }

  // Either a signal or the time-out ends the wait. Returns whether this call did.
  bool end_wait(State end) {
    State before = State::WAITING;
    return state.compare_exchange_strong(before, end);
  }

  Win32ConditionVariable &owner;
  void *const event; // set after the state is SIGNALLED or BROADCAST
  std::atomic<State> state{State::UNUSED};
  std::uint64_t arrival = 0;
  bool reacquires = false;      // acquires the mutex after the wait
  ThreadInWait thread;          // the last one that used this waiter
  unsigned int generation = 0;  // of the process in which that thread waits
  Waiter *next_woken = nullptr; // by the same call
};

Win32ConditionVariable::Win32ConditionVariable()
    : mutex_(/*initially_owned=*/false, /*name=*/nullptr, /*open_existing=*/false,
             /*security=*/nullptr, /*result=*/nullptr),
      guard_(/*initially_owned=*/false, /*name=*/nullptr, /*open_existing=*/false,
             /*security=*/nullptr, /*result=*/nullptr) {}

Win32ConditionVariable::~Win32ConditionVariable() = default;

bool Win32ConditionVariable::is_acquired() const {
  return mutex_.is_acquired();
}

OSTBASE_TERMINATION_POINT bool Win32ConditionVariable::lock_mutex() {
  return mutex_.acquire();
}

bool Win32ConditionVariable::unlock_mutex() {
  return mutex_.release();
}

OSTBASE_TERMINATION_POINT bool Win32ConditionVariable::wait(unsigned long timeout, bool auto_lock) {
  if (auto_lock) {
    mutex_.acquire_for_certain();
  }
  bool const is_woken = wait_unlocked(timeout, /*reacquires=*/!auto_lock);
  if (!auto_lock) {
    mutex_.acquire_for_certain();
  }
  prevent_tail_call();
  return is_woken;
}

// Releases the mutex in any case.
bool Win32ConditionVariable::wait_unlocked(unsigned long timeout, bool reacquires) {
  Waiter *const waiter = enqueue(reacquires);
  if (waiter == nullptr) {
    mutex_.release();
    return false;
  }
  TerminationHook const withdrawal(withdraw, waiter);
  bool is_set = false;
  if (can_signal_and_wait()) {
    is_set = mutex_.release_and_wait(waiter->event, timeout_from(timeout));
  } else {
    mutex_.release();
    is_set = WaitForSingleObject(waiter->event, timeout_from(timeout)) == WAIT_OBJECT_0;
  }
  return finish(*waiter, is_set) != State::WAITING;
}

// Null without memory, and if the system has no mutex.
Win32ConditionVariable::Waiter *Win32ConditionVariable::enqueue(bool reacquires) try {
  RetryingLock guarded(&guard_);
  if (!guarded.acquire()) {
    return nullptr;
  }
  auto waiter = std::find_if(waiters_.begin(), waiters_.end(), [](Waiter const &known) {
    return known.state == State::UNUSED || known.has_ended();
  });
  if (waiter == waiters_.end()) {
    waiter = waiters_.emplace_after(waiters_.before_begin(), *this);
    if (waiter->event == nullptr) {
      waiters_.pop_front();
      return nullptr;
    }
  }
  WaitForSingleObject(waiter->event, 0); // resets what a thread left that ended after a signal
  waiter->arrival = ++arrivals_;
  waiter->next_woken = nullptr;
  waiter->reacquires = reacquires;
  waiter->thread.begin();
  waiter->generation = AtFork::generation();
  waiter->state = State::WAITING;
  return &*waiter;
} catch (std::bad_alloc const &) {
  return nullptr;
}

// Ends a wait that the event has ended, or else the time-out. Returns the last state.
Win32ConditionVariable::State Win32ConditionVariable::finish(Waiter &waiter, bool is_set) {
  if (!is_set) {
    if (waiter.end_wait(State::UNUSED)) {
      return State::WAITING;
    }
    WaitForSingleObject(waiter.event, INFINITE); // it is being set
  }
  return waiter.state.exchange(State::UNUSED);
}

// Called when the thread is terminated in its wait. Passes a signal that it received to the next.
void Win32ConditionVariable::withdraw(void *waiter) {
  auto &self = *static_cast<Waiter *>(waiter);
  Win32ConditionVariable &owner = self.owner;
  if (finish(self, /*is_set=*/false) == State::SIGNALLED) {
    owner.signal();
  }
}

bool Win32ConditionVariable::signal() {
  Waiter *first = nullptr;
  {
    RetryingLock const guarded(&guard_);
    do {
      first = nullptr;
      for (Waiter &waiter : waiters_) {
        if (waiter.is_waiting() && (first == nullptr || waiter.arrival < first->arrival)) {
          first = &waiter;
        }
      }
    } while (first != nullptr && !first->end_wait(State::SIGNALLED));
  }
  return set_events(first);
}

bool Win32ConditionVariable::broadcast() {
  Waiter *woken = nullptr;
  {
    RetryingLock const guarded(&guard_);
    for (Waiter &waiter : waiters_) {
      if (waiter.is_waiting() && waiter.end_wait(State::BROADCAST)) {
        waiter.next_woken = std::exchange(woken, &waiter);
      }
    }
  }
  return set_events(woken);
}

// Without the guard: a thread whose event is set may delete the condition variable.
bool Win32ConditionVariable::set_events(Waiter *woken) const {
  bool is_done = true;
  while (woken != nullptr) {
    Waiter const &waiter = *std::exchange(woken, woken->next_woken);
    void *const mutex = waiter.reacquires ? mutex_.handle_ : nullptr;
    is_done = set_event_before(waiter.event, mutex) && is_done;
  }
  return is_done;
}

} // namespace Ostrel
