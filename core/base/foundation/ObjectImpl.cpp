// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ObjectImpl.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

namespace Ostrel {

namespace {

// Without a mutex, which is null, also without the cost of a lock.
template <typename Step> unsigned int run_locked(IAcquirable *mutex, Step step) {
  if (mutex == nullptr) {
    return step();
  }
  RetryingLock const lock(mutex);
  return step();
}

} // namespace

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
  return run_locked(mutex(), [this] { return set_count(count() + 1); });
}

unsigned int ObjectImpl::remove_ref() {
  bool is_last = false;
  unsigned int const left = run_locked(mutex(), [this, &is_last]() -> unsigned int {
    is_last = count() == 1;
    return count() == 0 ? 0 : set_count(count() - 1);
  });
  if (is_last) { // otherwise another owner may have deleted the object since
    delete this;
  }
  return left;
}

unsigned int ObjectImpl::ref_count() {
  return run_locked(mutex(), [this] { return count(); });
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

OSTBASE_TERMINATION_POINT bool ObjectImpl::maybe_lock() {
  IAcquirable *const locked = mutex();
  bool const is_acquired = locked == nullptr || locked->acquire();
  prevent_tail_call();
  return is_acquired;
}

bool ObjectImpl::maybe_unlock() {
  IAcquirable *const locked = mutex();
  return locked == nullptr || locked->release();
}

// Null in SAFETY_NONE.
IAcquirable *ObjectImpl::mutex() const {
  if (thread_safety_ == SAFETY_NONE || mutex_ != nullptr) {
    return mutex_.get();
  }
  return &ProcessMutex::of(ProcessMutex::OBJECTS);
}

} // namespace Ostrel
