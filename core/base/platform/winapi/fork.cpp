// SPDX-License-Identifier: Apache-2.0
// What is held across a fork, in one order for all: first the locks of those who use the layer,
// then the layer's own, inside which nobody waits for anything else. The system by itself would
// begin with what was registered last, which is whatever was used last for the first time.
#include "core/base/platform/winapi/fork.hpp"

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

namespace {

std::atomic<void (*)()> before_all{nullptr};
std::atomic<void (*)()> after_all{nullptr};

void call(std::atomic<void (*)()> const &step) noexcept {
  if (auto *const function = step.load(std::memory_order_acquire); function != nullptr) {
    function();
  }
}

} // namespace

class Forking {
public:
  static void add(ForkMutex &mutex) noexcept {
    pthread_mutex_lock(&_guard);
    if (!mutex.is_known_.load(std::memory_order_relaxed)) {
      mutex.next_ = _first;
      _first = &mutex;
      mutex.is_known_.store(true, std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&_guard);
  }

  static void before() noexcept {
    call(before_all);
    pthread_mutex_lock(&_guard);
    for (ForkMutex *mutex = _first; mutex != nullptr; mutex = mutex->next_) {
      pthread_mutex_lock(&mutex->mutex_);
    }
  }

  static void after() noexcept {
    for (ForkMutex *mutex = _first; mutex != nullptr; mutex = mutex->next_) {
      pthread_mutex_unlock(&mutex->mutex_);
    }
    pthread_mutex_unlock(&_guard);
    call(after_all);
  }

private:
  static pthread_mutex_t _guard;
  static ForkMutex *_first; // guarded by _guard
};

pthread_mutex_t Forking::_guard = PTHREAD_MUTEX_INITIALIZER;
ForkMutex *Forking::_first = nullptr;

namespace {

// From the load on; the system forgets it when the library is unloaded.
[[maybe_unused]] int const registered =
    pthread_atfork(Forking::before, Forking::after, Forking::after);

} // namespace

void ForkMutex::make_known() noexcept {
  Forking::add(*this);
}

void call_around_fork(void (*before)(), void (*after)()) noexcept {
  after_all.store(after, std::memory_order_release);
  before_all.store(before, std::memory_order_release);
}

} // namespace Ostrel
