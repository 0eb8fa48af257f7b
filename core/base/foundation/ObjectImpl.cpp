// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ObjectImpl.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

namespace Ostrel {

namespace {

// The mutex of SAFETY_GLOBAL, made at load; null while there is no memory for it. Never destroyed,
// since threads may still count while the process ends: a library that is unloaded leaves it
// behind.
IMutex *shared_mutex() {
  static std::atomic<IMutex *> mutex{nullptr};
  IMutex *known = mutex.load(std::memory_order_acquire);
  if (known == nullptr) {
    std::unique_ptr<IMutex> made(Platform::create_mutex(true));
    if (mutex.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel)) {
      known = made.release();
    }
  }
  return known;
}

[[maybe_unused]] IMutex *const made_at_load = shared_mutex();

} // namespace

// The lock of an object's mode, for the length of a block; not held if there is no mutex.
class ObjectImpl::CountLock {
public:
  // The first attempt fails if a thread ended while holding the mutex.
  explicit CountLock(ObjectImpl const &object)
      : mutex_(object.mutex()),
        is_held_(mutex_ != nullptr && (mutex_->acquire() || mutex_->acquire())) {}
  CountLock(CountLock const &) = delete;
  CountLock &operator=(CountLock const &) = delete;
  ~CountLock() {
    if (is_held_) {
      mutex_->release();
    }
  }

private:
  IMutex *mutex_;
  bool is_held_;
};

ObjectImpl::ThreadSafety ObjectImpl::_default_thread_safety = ObjectImpl::SAFETY_NONE;

ObjectImpl::ObjectImpl(ThreadSafety thread_safety)
    : thread_safety_(thread_safety != SAFETY_DEFAULT ? thread_safety
                                                     : get_default_thread_safety()) {
  if (thread_safety_ == SAFETY_DEFAULT) { // stored into `_default_thread_safety` itself
    thread_safety_ = SAFETY_NONE;
  }
  if (thread_safety_ == SAFETY_PER_OBJECT) {
    mutex_.reset(Platform::create_mutex(true));
  }
  ObjectImpl::add_ref();
}

unsigned int ObjectImpl::add_ref() {
  CountLock const lock(*this);
  return add(1);
}

unsigned int ObjectImpl::remove_ref() {
  {
    CountLock const lock(*this);
    if (count_.load(std::memory_order_relaxed) == 0) {
      return 0;
    }
    // Unless this was the last owner, another thread may delete the object after the release.
    if (unsigned int const left = add(-1U); left > 0) {
      return left;
    }
  }
  delete this;
  return 0;
}

unsigned int ObjectImpl::ref_count() {
  CountLock const lock(*this);
  return count_.load(std::memory_order_relaxed);
}

unsigned long ObjectImpl::obtain_interface(unsigned long /*interface_id*/,
                                           char const * /*interface_name*/, void ** /*result*/) {
  return RESULT_NOT_IMPLEMENTED;
}

void ObjectImpl::set_default_thread_safety(ThreadSafety thread_safety) noexcept {
  __atomic_store_n(&_default_thread_safety,
                   thread_safety != SAFETY_DEFAULT ? thread_safety : SAFETY_NONE, __ATOMIC_RELAXED);
}

ObjectImpl::ThreadSafety ObjectImpl::get_default_thread_safety() noexcept {
  return __atomic_load_n(&_default_thread_safety, __ATOMIC_RELAXED);
}

ObjectImpl::~ObjectImpl() = default;

bool ObjectImpl::maybe_lock() {
  IMutex *const locked = mutex();
  return locked != nullptr ? locked->acquire() : !is_lockable();
}

bool ObjectImpl::maybe_unlock() {
  IMutex *const locked = mutex();
  return locked != nullptr ? locked->release() : !is_lockable();
}

bool ObjectImpl::is_lockable() const noexcept {
  return thread_safety_ == SAFETY_GLOBAL || thread_safety_ == SAFETY_PER_OBJECT;
}

// Null in SAFETY_NONE, and without memory.
IMutex *ObjectImpl::mutex() const {
  return thread_safety_ == SAFETY_GLOBAL ? shared_mutex() : mutex_.get();
}

// Returns the new count. The lock may not be held for lack of a mutex, so that the step is atomic.
unsigned int ObjectImpl::add(unsigned int difference) noexcept {
  if (is_lockable()) {
    return count_.fetch_add(difference, std::memory_order_acq_rel) + difference;
  }
  unsigned int const count = count_.load(std::memory_order_relaxed) + difference;
  count_.store(count, std::memory_order_relaxed);
  return count;
}

} // namespace Ostrel
