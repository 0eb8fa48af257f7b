// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ObjectImpl.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

namespace Ostrel {

namespace {

// Null before the mutex is made and after it is gone; objects are still counted then.
std::atomic<IMutex *> current_mutex{nullptr};

class GlobalMutex {
public:
  GlobalMutex() : mutex_(Platform::create_mutex(true)) { current_mutex = mutex_.get(); }
  GlobalMutex(GlobalMutex const &) = delete;
  GlobalMutex &operator=(GlobalMutex const &) = delete;
  ~GlobalMutex() { current_mutex = nullptr; }

private:
  std::unique_ptr<IMutex> mutex_; // null when it could not be made
};

GlobalMutex &global_mutex() {
  static GlobalMutex instance;
  return instance;
}

[[maybe_unused]] GlobalMutex &built_at_load = global_mutex();

IMutex *get_global_mutex() {
  global_mutex();
  return current_mutex.load(std::memory_order_acquire);
}

} // namespace

std::atomic<ObjectImpl::ThreadSafety> ObjectImpl::_default_thread_safety{ObjectImpl::SAFETY_NONE};

ObjectImpl::ObjectImpl(ThreadSafety thread_safety)
    : thread_safety_(thread_safety != SAFETY_DEFAULT ? thread_safety
                                                     : get_default_thread_safety()) {
  if (thread_safety_ == SAFETY_PER_OBJECT) {
    mutex_.reset(Platform::create_mutex(true));
  }
  ObjectImpl::add_ref();
}

unsigned int ObjectImpl::add_ref() {
  bool const has_lock = lock_count();
  unsigned int const count = count_up(has_lock);
  if (has_lock) {
    maybe_unlock();
  }
  return count;
}

unsigned int ObjectImpl::remove_ref() {
  bool const has_lock = lock_count();
  unsigned int const before = count_down(has_lock);
  if (has_lock) {
    maybe_unlock();
  }
  // From here on another owner may have deleted the object.
  if (before == 1) {
    delete this;
  }
  return before > 0 ? before - 1 : 0;
}

unsigned int ObjectImpl::ref_count() {
  bool const has_lock = lock_count();
  unsigned int const count = count_.load(std::memory_order_relaxed);
  if (has_lock) {
    maybe_unlock();
  }
  return count;
}

unsigned long ObjectImpl::obtain_interface(unsigned long /*interface_id*/,
                                           char const * /*interface_name*/, void ** /*result*/) {
  return RESULT_NOT_IMPLEMENTED;
}

void ObjectImpl::set_default_thread_safety(ThreadSafety thread_safety) noexcept {
  _default_thread_safety.store(thread_safety != SAFETY_DEFAULT ? thread_safety : SAFETY_NONE,
                               std::memory_order_relaxed);
}

ObjectImpl::ThreadSafety ObjectImpl::get_default_thread_safety() noexcept {
  return _default_thread_safety.load(std::memory_order_relaxed);
}

ObjectImpl::~ObjectImpl() = default;

bool ObjectImpl::maybe_lock() {
  if (!is_lockable()) {
    return true;
  }
  IMutex *const mutex = get_mutex();
  return mutex != nullptr && mutex->acquire();
}

bool ObjectImpl::maybe_unlock() {
  if (!is_lockable()) {
    return true;
  }
  IMutex *const mutex = get_mutex();
  return mutex != nullptr && mutex->release();
}

bool ObjectImpl::is_lockable() const noexcept {
  return thread_safety_ == SAFETY_GLOBAL || thread_safety_ == SAFETY_PER_OBJECT;
}

// Gives null where a mode's mutex is not there.
IMutex *ObjectImpl::get_mutex() const {
  return thread_safety_ == SAFETY_GLOBAL ? get_global_mutex() : mutex_.get();
}

// The second attempt follows an owner that ended inside: the first one only tells of it.
bool ObjectImpl::lock_count() {
  return maybe_lock() || maybe_lock();
}

// Where the count is not locked, others may change it at the same time. In SAFETY_GLOBAL they may
// even with the lock: at unload the mutex goes away while somebody holds it.
bool ObjectImpl::is_alone(bool has_lock) const noexcept {
  return has_lock && thread_safety_ != SAFETY_GLOBAL;
}

// Gives the new count.
unsigned int ObjectImpl::count_up(bool has_lock) noexcept {
  if (!is_alone(has_lock)) {
    return count_.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  unsigned int const count = count_.load(std::memory_order_relaxed) + 1;
  count_.store(count, std::memory_order_relaxed);
  return count;
}

// Gives the count as it was before; it ends at 0.
unsigned int ObjectImpl::count_down(bool has_lock) noexcept {
  unsigned int count = count_.load(std::memory_order_relaxed);
  if (!is_alone(has_lock)) {
    while (count > 0 && !count_.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel,
                                                      std::memory_order_relaxed)) {
    }
  } else if (count > 0) {
    count_.store(count - 1, std::memory_order_relaxed);
  }
  return count;
}

} // namespace Ostrel
