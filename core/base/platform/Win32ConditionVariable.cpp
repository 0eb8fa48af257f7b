// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32ConditionVariable.hpp"

#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/Timeout.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <memory>
#include <new>

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

  Win32ConditionVariable &owner;
  void *const event;
  Waiter *next = nullptr;
  Waiter *previous = nullptr;
  // Written under the guard; read without it after the event was set.
  bool is_enqueued = false;
  bool is_one_of_all = false;  // woken by a broadcast
  bool reacquires = false;     // acquires the mutex after the wait
  ThreadInWait thread;         // while the waiter is in use
  unsigned int generation = 0; // of the process in which the thread waits
};

class Win32ConditionVariable::Guarded {
public:
  explicit Guarded(Win32Mutex &guard) : guard_(guard), is_held_(guard.acquire_for_certain()) {}
  Guarded(Guarded const &) = delete;
  Guarded &operator=(Guarded const &) = delete;
  ~Guarded() {
    if (is_held_) {
      guard_.release();
    }
  }

  bool is_held() const { return is_held_; }

private:
  Win32Mutex &guard_;
  bool is_held_;
};

Win32ConditionVariable::Win32ConditionVariable()
    : mutex_(/*initially_owned=*/false, /*name=*/nullptr, /*open_existing=*/false,
             /*security=*/nullptr, /*result=*/nullptr),
      guard_(/*initially_owned=*/false, /*name=*/nullptr, /*open_existing=*/false,
             /*security=*/nullptr, /*result=*/nullptr) {}

Win32ConditionVariable::~Win32ConditionVariable() {
  remove_ended(); // no other waiter is left
  Waiter *waiter = spare_.load(std::memory_order_acquire);
  while (waiter != nullptr) {
    std::unique_ptr<Waiter> const last(waiter);
    waiter = last->next;
  }
}

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
  bool const is_woken = is_set || cancel(*waiter);
  recycle(*waiter);
  return is_woken;
}

// Appends a waiter to the queue; null without memory, and if the guard cannot be acquired.
Win32ConditionVariable::Waiter *Win32ConditionVariable::enqueue(bool reacquires) {
  Guarded const guarded(guard_);
  if (!guarded.is_held()) {
    return nullptr;
  }
  Waiter *waiter = spare_.load(std::memory_order_acquire);
  while (waiter != nullptr &&
         !spare_.compare_exchange_weak(waiter, waiter->next, std::memory_order_acquire)) {
  }
  if (waiter == nullptr) {
    std::unique_ptr<Waiter> created(new (std::nothrow) Waiter(*this));
    if (created == nullptr || created->event == nullptr) {
      return nullptr;
    }
    waiter = created.release();
  }
  waiter->is_enqueued = true;
  waiter->is_one_of_all = false;
  waiter->reacquires = reacquires;
  waiter->thread.begin();
  waiter->generation = AtFork::generation();
  waiter->next = nullptr;
  waiter->previous = last_;
  (last_ == nullptr ? first_ : last_->next) = waiter;
  last_ = waiter;
  return waiter;
}

// Removes a waiter from the queue after a wait that ended without its event. True if a signal has
// dequeued it meanwhile: then it consumes that wake-up.
bool Win32ConditionVariable::cancel(Waiter &waiter) {
  {
    Guarded const guarded(guard_);
    if (waiter.is_enqueued) {
      unlink(waiter);
      return false;
    }
  }
  WaitForSingleObject(waiter.event, INFINITE); // it is being set
  return true;
}

// Called when the thread is terminated in its wait. Passes a signal that it received to the next.
void Win32ConditionVariable::withdraw(void *waiter) {
  auto &self = *static_cast<Waiter *>(waiter);
  Win32ConditionVariable &owner = self.owner;
  bool const is_for_next = owner.cancel(self) && !self.is_one_of_all;
  owner.recycle(self);
  if (is_for_next) {
    owner.signal();
  }
}

void Win32ConditionVariable::unlink(Waiter &waiter) {
  (waiter.previous == nullptr ? first_ : waiter.previous->next) = waiter.next;
  (waiter.next == nullptr ? last_ : waiter.next->previous) = waiter.previous;
  waiter.is_enqueued = false;
}

// Removes waiters whose threads have ended from the front of the queue, so that a signal wakes a
// living one. Those behind it are removed when they reach the front. Needs the guard.
void Win32ConditionVariable::remove_ended() {
  while (first_ != nullptr && first_->has_ended()) {
    Waiter &ended = *first_;
    unlink(ended);
    recycle(ended);
  }
}

void Win32ConditionVariable::recycle(Waiter &waiter) {
  waiter.thread.end();
  waiter.next = spare_.load(std::memory_order_relaxed);
  while (!spare_.compare_exchange_weak(waiter.next, &waiter, std::memory_order_release,
                                       std::memory_order_relaxed)) {
  }
}

// Called without the guard, which the woken thread may need at once. The thread may recycle
// `waiter` before this returns.
bool Win32ConditionVariable::wake(Waiter const &waiter) const {
  return set_event_before(waiter.event, waiter.reacquires ? mutex_.handle_ : nullptr);
}

bool Win32ConditionVariable::signal() {
  Waiter *woken = nullptr;
  {
    Guarded const guarded(guard_);
    if (!guarded.is_held()) {
      return false;
    }
    remove_ended();
    if (first_ == nullptr) {
      return true;
    }
    woken = first_;
    unlink(*woken);
  }
  return wake(*woken);
}

bool Win32ConditionVariable::broadcast() {
  Waiter *woken = nullptr;
  {
    Guarded const guarded(guard_);
    if (!guarded.is_held()) {
      return false;
    }
    woken = first_;
    for (Waiter *waiter = woken; waiter != nullptr; waiter = waiter->next) {
      waiter->is_enqueued = false;
      waiter->is_one_of_all = true;
    }
    first_ = last_ = nullptr;
  }
  bool is_done = true;
  while (woken != nullptr) {
    Waiter &waiter = *woken;
    woken = waiter.next; // before the wake: the thread then reuses its waiter
    if (waiter.has_ended()) {
      recycle(waiter);
    } else {
      is_done = wake(waiter) && is_done;
    }
  }
  return is_done;
}

} // namespace Ostrel
