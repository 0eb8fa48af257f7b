// SPDX-License-Identifier: Apache-2.0

// Owners come and go far more often than anybody holds an object's own mutex, and through the mutex
// each step would take two locked operations. One suffices while the mutex is not held: the holds
// are counted in the same word as the owners, so that a step which meets a hold goes through the
// mutex, and its holder sees the owners stand still. Whoever lets go last waits for the mutex: who
// held it may still be giving it back.
#include "core/base/foundation/ObjectImpl.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

namespace Ostrel {

namespace {

constexpr std::uint64_t HOLD = 1ULL << 32;
// For good in SAFETY_GLOBAL: every step goes through the mutex that all share.
constexpr std::uint64_t ALWAYS_HELD = HOLD << 31;

constexpr unsigned int owners(std::uint64_t count) noexcept {
  return static_cast<unsigned int>(count);
}

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

// The second attempt follows an owner that ended inside: the first one only tells of it.
bool acquire(IMutex *mutex) {
  return mutex != nullptr && (mutex->acquire() || mutex->acquire());
}

} // namespace

std::atomic<ObjectImpl::ThreadSafety> ObjectImpl::_default_thread_safety{ObjectImpl::SAFETY_NONE};

ObjectImpl::ObjectImpl(ThreadSafety thread_safety)
    : thread_safety_(thread_safety != SAFETY_DEFAULT ? thread_safety
                                                     : get_default_thread_safety()) {
  if (thread_safety_ == SAFETY_GLOBAL) {
    count_.store(ALWAYS_HELD, std::memory_order_relaxed);
  } else if (thread_safety_ == SAFETY_PER_OBJECT) {
    mutex_.reset(Platform::create_mutex(true));
  }
  ObjectImpl::add_ref();
}

unsigned int ObjectImpl::add_ref() {
  return step([](std::uint64_t count) { return count + 1; }) + 1;
}

unsigned int ObjectImpl::remove_ref() {
  unsigned int const before =
      step([](std::uint64_t count) { return owners(count) > 0 ? count - 1 : count; });
  // Unless this was the last owner, another one may have deleted the object by now.
  if (before != 1) {
    return before > 0 ? before - 1 : 0;
  }
  if (acquire(mutex_.get())) {
    mutex_->release();
  }
  delete this;
  return 0;
}

unsigned int ObjectImpl::ref_count() {
  return step([](std::uint64_t count) { return count; });
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
  if (mutex == nullptr || !mutex->acquire()) {
    return false;
  }
  count_.fetch_add(HOLD, std::memory_order_acq_rel);
  return true;
}

bool ObjectImpl::maybe_unlock() {
  if (!is_lockable()) {
    return true;
  }
  IMutex *const mutex = get_mutex();
  if (mutex == nullptr) {
    return false;
  }
  // Before the release, after which the object may be gone.
  count_.fetch_sub(HOLD, std::memory_order_acq_rel);
  if (mutex->release()) {
    return true;
  }
  count_.fetch_add(HOLD, std::memory_order_acq_rel); // it was not the caller's
  return false;
}

bool ObjectImpl::is_lockable() const noexcept {
  return thread_safety_ == SAFETY_GLOBAL || thread_safety_ == SAFETY_PER_OBJECT;
}

// Gives null where the mode's mutex is not there.
IMutex *ObjectImpl::get_mutex() const {
  return thread_safety_ == SAFETY_GLOBAL ? get_global_mutex() : mutex_.get();
}

// Goes from one count to the next, and gives the owners before.
template <typename Next> unsigned int ObjectImpl::step(Next next) {
  std::uint64_t count = count_.load(std::memory_order_relaxed);
  if (!is_lockable()) {
    count_.store(next(count), std::memory_order_relaxed);
    return owners(count);
  }
  while (count < HOLD) {
    if (count_.compare_exchange_weak(count, next(count), std::memory_order_acq_rel,
                                     std::memory_order_relaxed)) {
      return owners(count);
    }
  }
  return step_in_turn(next);
}

// Waits for the mutex first. Others that do not meet a hold, or have no mutex, step meanwhile.
template <typename Next> unsigned int ObjectImpl::step_in_turn(Next next) {
  IMutex *const mutex = get_mutex();
  bool const has_mutex = acquire(mutex);
  std::uint64_t count = count_.load(std::memory_order_relaxed);
  while (!count_.compare_exchange_weak(count, next(count), std::memory_order_acq_rel,
                                       std::memory_order_relaxed)) {
  }
  if (has_mutex) {
    mutex->release();
  }
  return owners(count);
}

} // namespace Ostrel
