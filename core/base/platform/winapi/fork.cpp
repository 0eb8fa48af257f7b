// SPDX-License-Identifier: Apache-2.0
// What is held across a fork, in one order for all: first the locks of those who use the layer,
// then the layer's own. The system by itself would begin with what was registered last, which is
// whatever was used last for the first time.
//
// Any of them can be held for long: by somebody who waits for the very thread that forks, or for a
// disk, or for another process. So that thread does not wait for ever.
#include "core/base/platform/winapi/fork.hpp"

#include "core/base/platform/winapi/moment.hpp"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <utility>

namespace Ostrel {

namespace {

constexpr DWORD PATIENCE_MS = 1000;        // of a thread that forks, with all mutexes together
constexpr std::int64_t LEAST_WAIT_MS = 50; // for each, also when another one took all of that

// The fork that the calling thread is about to make, or has just made.
struct Fork {
  bool is_under_way = false;
  bool holds_layer = false; // every ForkMutex that is_taken_
  timespec end_of_patience{};
};

thread_local Fork this_fork __attribute__((tls_model("initial-exec")));

std::atomic<ForkSteps const *> steps{nullptr};
std::atomic<unsigned int> forks{0};

// Again with the first use of each mutex, since there may be no memory for it at the load.
[[maybe_unused]] bool const registered_at_load = ForkMutex::register_with_system();

// How long the thread that forks may wait for the next mutex.
std::int64_t patience_ms() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  timespec const &end = this_fork.end_of_patience;
  std::int64_t const left_ms = (end.tv_sec - now.tv_sec) * MILLISECONDS_PER_SECOND +
                               (end.tv_nsec - now.tv_nsec) / NANOSECONDS_PER_MILLISECOND;
  return std::max(left_ms, LEAST_WAIT_MS);
}

} // namespace

pthread_mutex_t ForkMutex::_guard = PTHREAD_MUTEX_INITIALIZER;
ForkMutex *ForkMutex::_first = nullptr;

void ForkMutex::lock() noexcept {
  if (!take_if_forking()) {
    lock_.lock(INFINITE);
  }
}

void ForkMutex::lock_shared() noexcept {
  if (!take_if_forking()) {
    lock_.lock_shared();
  }
}

void ForkMutex::unlock() noexcept {
  if (!this_fork.holds_layer) {
    lock_.unlock();
  }
}

// Whether the calling thread is forking. What it has not taken for that yet, it takes now.
bool ForkMutex::take_if_forking() noexcept {
  if (!is_known_.load(std::memory_order_relaxed)) {
    make_known();
  }
  if (this_fork.holds_layer && !is_taken_) {
    is_taken_ = take_to_fork();
  }
  return this_fork.holds_layer;
}

bool ForkMutex::take_to_fork() noexcept {
  return lock_.lock(static_cast<DWORD>(patience_ms()));
}

bool ForkMutex::register_with_system() noexcept {
  static std::atomic<bool> is_registered{false};
  if (!is_registered.exchange(true) && pthread_atfork(before, after, after_in_child) != 0) {
    is_registered = false;
  }
  return is_registered;
}

void ForkMutex::make_known() noexcept {
  // Outside the guard: the system has a lock for it, which it may hold while somebody forks.
  if (!register_with_system()) {
    return;
  }
  bool const has_guard = this_fork.holds_layer;
  if (!has_guard) {
    pthread_mutex_lock(&_guard);
  }
  if (!is_known_.load(std::memory_order_relaxed)) {
    next_ = _first;
    _first = this;
    is_known_.store(true, std::memory_order_relaxed);
  }
  if (!has_guard) {
    pthread_mutex_unlock(&_guard);
  }
}

void ForkMutex::before() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  this_fork.end_of_patience = later(now, PATIENCE_MS);
  this_fork.is_under_way = true;
  if (ForkSteps const *const known = steps.load(std::memory_order_acquire); known != nullptr) {
    known->before();
  }
  pthread_mutex_lock(&_guard);
  for (ForkMutex *mutex = _first; mutex != nullptr; mutex = mutex->next_) {
    mutex->is_taken_ = mutex->take_to_fork();
  }
  this_fork.holds_layer = true;
}

void ForkMutex::after() noexcept {
  for (ForkMutex *mutex = _first; mutex != nullptr; mutex = mutex->next_) {
    if (std::exchange(mutex->is_taken_, false)) {
      mutex->lock_.unlock();
    }
  }
  pthread_mutex_unlock(&_guard);
  this_fork = Fork();
  if (ForkSteps const *const known = steps.load(std::memory_order_acquire); known != nullptr) {
    known->after();
  }
}

// A lock that another thread kept is made anew with the rest.
void ForkMutex::after_in_child() noexcept {
  forks.fetch_add(1, std::memory_order_relaxed);
  for (ForkMutex *mutex = _first; mutex != nullptr; mutex = mutex->next_) {
    if (mutex->in_child_ != nullptr) {
      mutex->in_child_();
    }
  }
  for (ForkMutex *mutex = _first; mutex != nullptr; mutex = mutex->next_) {
    mutex->is_taken_ = false;
    mutex->lock_.reset();
  }
  after();
}

void call_around_fork(ForkSteps const &borrowed) noexcept {
  steps.store(&borrowed, std::memory_order_release);
}

unsigned int fork_count() noexcept {
  return forks.load(std::memory_order_relaxed);
}

DWORD limit_while_forking(DWORD milliseconds) noexcept {
  return this_fork.is_under_way ? std::min(milliseconds, static_cast<DWORD>(patience_ms()))
                                : milliseconds;
}

} // namespace Ostrel
