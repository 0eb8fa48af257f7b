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

// What a thread waits with. It lives in the condition variable, not on the waiter's stack: it is
// still there when the thread is not.
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

  // Terminated, or a thread of the parent of this process.
  bool has_ended() const { return generation != AtFork::generation() || thread.has_ended(); }

  Win32ConditionVariable &owner;
  void *const event;
  Waiter *next = nullptr;
  Waiter *previous = nullptr;
  // Guarded by the guard; a waiter whose event is set reads that it is out of the row without it.
  bool is_enlisted = false;
  bool is_one_of_all = false;  // released by a broadcast
  bool takes_mutex = false;    // after the wait
  ThreadInWait thread;         // while the waiter is in use
  unsigned int generation = 0; // of the process in which that thread waits
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
  drop_ended(); // nobody else is left in the row
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
  bool const is_released = wait_released(timeout, /*takes_mutex=*/!auto_lock);
  if (!auto_lock) {
    mutex_.acquire_for_certain();
  }
  prevent_tail_call();
  return is_released;
}

// The mutex is given back in any case.
bool Win32ConditionVariable::wait_released(unsigned long timeout, bool takes_mutex) {
  Waiter *const waiter = enlist(takes_mutex);
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
  bool const is_released = is_set || dismiss(*waiter);
  keep(*waiter);
  return is_released;
}

// Gives a waiter at the end of the row; null without memory or guard.
Win32ConditionVariable::Waiter *Win32ConditionVariable::enlist(bool takes_mutex) {
  Guarded const guarded(guard_);
  if (!guarded.is_held()) {
    return nullptr;
  }
  Waiter *waiter = spare_.load(std::memory_order_acquire);
  while (waiter != nullptr &&
         !spare_.compare_exchange_weak(waiter, waiter->next, std::memory_order_acquire)) {
  }
  if (waiter == nullptr) {
    std::unique_ptr<Waiter> made(new (std::nothrow) Waiter(*this));
    if (made == nullptr || made->event == nullptr) {
      return nullptr;
    }
    waiter = made.release();
  }
  waiter->is_enlisted = true;
  waiter->is_one_of_all = false;
  waiter->takes_mutex = takes_mutex;
  waiter->thread.begin();
  waiter->generation = AtFork::generation();
  waiter->next = nullptr;
  waiter->previous = last_;
  (last_ == nullptr ? first_ : last_->next) = waiter;
  last_ = waiter;
  return waiter;
}

// Takes a waiter whose wait ended without its event from the row. True when somebody released it
// all the same, at the last moment: nobody else gets that wake-up.
bool Win32ConditionVariable::dismiss(Waiter &waiter) {
  {
    Guarded const guarded(guard_);
    if (waiter.is_enlisted) {
      unlink(waiter);
      return false;
    }
  }
  WaitForSingleObject(waiter.event, INFINITE); // it is being set
  return true;
}

// Called when the thread is terminated in its wait. What had been meant for it goes to the next.
void Win32ConditionVariable::withdraw(void *waiter) {
  auto &self = *static_cast<Waiter *>(waiter);
  Win32ConditionVariable &owner = self.owner;
  bool const is_for_next = owner.dismiss(self) && !self.is_one_of_all;
  owner.keep(self);
  if (is_for_next) {
    owner.signal();
  }
}

void Win32ConditionVariable::unlink(Waiter &waiter) {
  (waiter.previous == nullptr ? first_ : waiter.previous->next) = waiter.next;
  (waiter.next == nullptr ? last_ : waiter.next->previous) = waiter.previous;
  waiter.is_enlisted = false;
}

// Takes the waiters whose threads are not there any more from the front of the row, so that the
// first one can be released. Those behind a living one take no wake-up from anybody: they are met
// when they come to the front. Needs the guard.
void Win32ConditionVariable::drop_ended() {
  while (first_ != nullptr && first_->has_ended()) {
    Waiter &ended = *first_;
    unlink(ended);
    keep(ended);
  }
}

void Win32ConditionVariable::keep(Waiter &waiter) {
  waiter.thread.end();
  waiter.next = spare_.load(std::memory_order_relaxed);
  while (!spare_.compare_exchange_weak(waiter.next, &waiter, std::memory_order_release,
                                       std::memory_order_relaxed)) {
  }
}

// Not under the guard, which the waiter may want at once. It is the waiter's again afterwards.
bool Win32ConditionVariable::wake(Waiter const &waiter) const {
  return set_event_before(waiter.event, waiter.takes_mutex ? mutex_.handle_ : nullptr);
}

bool Win32ConditionVariable::signal() {
  Waiter *released = nullptr;
  {
    Guarded const guarded(guard_);
    if (!guarded.is_held()) {
      return false;
    }
    drop_ended();
    if (first_ == nullptr) {
      return true;
    }
    released = first_;
    unlink(*released);
  }
  return wake(*released);
}

bool Win32ConditionVariable::broadcast() {
  Waiter *released = nullptr;
  {
    Guarded const guarded(guard_);
    if (!guarded.is_held()) {
      return false;
    }
    released = first_;
    for (Waiter *waiter = released; waiter != nullptr; waiter = waiter->next) {
      waiter->is_enlisted = false;
      waiter->is_one_of_all = true;
    }
    first_ = last_ = nullptr;
  }
  bool is_done = true;
  while (released != nullptr) {
    Waiter &waiter = *released;
    released = waiter.next;
    if (waiter.has_ended()) {
      keep(waiter);
    } else {
      is_done = wake(waiter) && is_done;
    }
  }
  return is_done;
}

} // namespace Ostrel
