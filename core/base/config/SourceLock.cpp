// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SourceLock.hpp"

#include "core/base/platform/ForkLocks.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <atomic>
#include <mutex>

namespace Ostrel {

namespace {

// Made by the first source and destroyed by the last one.
std::atomic<IMutex *> source_mutex{nullptr};

// Guards the making and the end of source_mutex, which cannot guard them itself. Only the fork
// handler waits for source_mutex while holding this.
std::mutex lifetime_mutex;
thread_local bool has_lifetime_to_fork __attribute__((tls_model("initial-exec"))) = false;
int source_mutex_users = 0; // sources that need source_mutex; guarded by lifetime_mutex

// No thread is in the XML library for us then, which has locks of its own; unless source_mutex
// cannot be acquired in time.
IAcquirable *take_both_mutexes() {
  lifetime_mutex.lock();
  has_lifetime_to_fork = true;
  return ForkLocks::acquire(source_mutex.load(std::memory_order_relaxed));
}

void give_both_mutexes_back(IAcquirable *taken) {
  ForkLocks::release(taken);
  has_lifetime_to_fork = false;
  lifetime_mutex.unlock();
}

constexpr ForkLocks::Lock FORK_LOCK = {take_both_mutexes, give_both_mutexes_back};

// Holds lifetime_mutex until the end of a block. A fork handler of the host that uses a source runs
// while the forking thread has it already.
class LifetimeLock {
public:
  LifetimeLock() : lock_(lifetime_mutex, std::defer_lock) {
    if (!has_lifetime_to_fork) {
      lock_.lock();
    }
  }

private:
  std::unique_lock<std::mutex> lock_;
};

// Needs lifetime_mutex held.
void make_source_mutex() {
  if (source_mutex.load(std::memory_order_relaxed) == nullptr) {
    source_mutex.store(Platform::create_mutex(true), std::memory_order_release);
  }
}

// For a user: null as long as there is no memory for it.
IMutex *get_source_mutex() {
  IMutex *const made = source_mutex.load(std::memory_order_acquire);
  if (made != nullptr) {
    return made;
  }
  LifetimeLock const lifetime;
  make_source_mutex();
  return source_mutex.load(std::memory_order_relaxed);
}

} // namespace

void join_source_mutex() {
  ForkLocks::add(ForkLocks::SOURCE, FORK_LOCK);
  LifetimeLock const lifetime;
  ++source_mutex_users;
  make_source_mutex();
}

void leave_source_mutex() {
  LifetimeLock const lifetime;
  bool const is_held_to_fork = has_lifetime_to_fork; // then it stays for the next user
  if (--source_mutex_users == 0 && !is_held_to_fork) {
    delete source_mutex.exchange(nullptr);
  }
}

// The second attempt follows an owner that ended inside: the first one only tells of it.
SourceLock::SourceLock() : mutex_(get_source_mutex()), lock_(mutex_), is_held_(lock_.acquire()) {}

} // namespace Ostrel
