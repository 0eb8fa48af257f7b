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

constexpr std::uint64_t with_owners(std::uint64_t count, unsigned int owners) noexcept {
  return (count & ~(HOLD - 1)) | owners;
}

// The mutex that all share, for whoever has entered. Threads may still count while the process ends
// and the library's destructors run: who is inside then keeps the mutex, for good.
class GlobalMutex {
public:
  // Null as long as there is no memory for it, and once the library is unloaded.
  static IMutex *enter() noexcept {
    _inside.fetch_add(1);
    if (_state.load() == State::OPEN) {
      return _mutex.load();
    }
    leave();
    return nullptr;
  }
  static void leave() noexcept { _inside.fetch_sub(1); }

  // Takes the mutex until `unlock`.
  static bool lock() {
    IMutex *const mutex = enter();
    if (mutex == nullptr) {
      return false;
    }
    if (!mutex->acquire()) {
      leave();
      return false;
    }
    ++_holds;
    return true;
  }

  // Who does not hold it may not even look at it: it may be gone.
  static bool unlock() {
    if (_holds == 0) {
      return false;
    }
    --_holds;
    bool const is_released = _mutex.load()->release();
    leave();
    return is_released;
  }

  // Makes the mutex. Stays closed without memory, until the next object asks.
  static void open() {
    static End const end;
    if (_state.load() != State::CLOSED) {
      return;
    }
    std::unique_ptr<IMutex> made(Platform::create_mutex(true));
    IMutex *none = nullptr;
    if (made != nullptr && _mutex.compare_exchange_strong(none, made.get())) {
      static_cast<void>(made.release()); // owned by the variable now
    }
    if (_mutex.load() != nullptr) { // whoever has made it
      State closed = State::CLOSED;
      _state.compare_exchange_strong(closed, State::OPEN);
    }
  }

private:
  enum class State { CLOSED, OPEN, OVER };

  struct End {
    End() = default;
    End(End const &) = delete;
    End &operator=(End const &) = delete;
    ~End() {
      _state = State::OVER;
      if (_inside == 0) {
        delete _mutex.exchange(nullptr);
      }
    }
  };

  static std::atomic<IMutex *> _mutex;
  static std::atomic<State> _state;
  static std::atomic<int> _inside; // holds, and steps on their way
  static thread_local unsigned int _holds
      __attribute__((tls_model("initial-exec"))); // of the thread
};

std::atomic<IMutex *> GlobalMutex::_mutex{nullptr};
std::atomic<GlobalMutex::State> GlobalMutex::_state{State::CLOSED};
std::atomic<int> GlobalMutex::_inside{0};
thread_local unsigned int GlobalMutex::_holds = 0;

[[maybe_unused]] bool const opened_at_load = (GlobalMutex::open(), true);

// The second attempt follows an owner that ended inside: the first one only tells of it.
bool acquire(IMutex *mutex) {
  return mutex != nullptr && (mutex->acquire() || mutex->acquire());
}

// A number that no other thread has, and none had before.
std::uint64_t identity() noexcept {
  static std::atomic<std::uint64_t> last{0};
  static thread_local std::uint64_t instance __attribute__((tls_model("initial-exec"))) = 0;
  if (instance == 0) {
    instance = ++last;
  }
  return instance;
}

} // namespace

// The mutex of an object's mode, for the length of a block; none where it cannot be had.
class ObjectImpl::Turn {
public:
  explicit Turn(ObjectImpl const &object)
      : is_global_(object.thread_safety_ == SAFETY_GLOBAL),
        mutex_(is_global_ ? GlobalMutex::enter() : object.mutex_.get()),
        is_acquired_(acquire(mutex_)) {}
  Turn(Turn const &) = delete;
  Turn &operator=(Turn const &) = delete;
  ~Turn() {
    if (is_acquired_) {
      mutex_->release();
    }
    if (is_global_ && mutex_ != nullptr) {
      GlobalMutex::leave();
    }
  }

private:
  bool is_global_;
  IMutex *mutex_;
  bool is_acquired_;
};

std::atomic<ObjectImpl::ThreadSafety> ObjectImpl::_default_thread_safety{ObjectImpl::SAFETY_NONE};

ObjectImpl::ObjectImpl(ThreadSafety thread_safety)
    : thread_safety_(thread_safety != SAFETY_DEFAULT ? thread_safety
                                                     : get_default_thread_safety()) {
  if (thread_safety_ == SAFETY_GLOBAL) {
    GlobalMutex::open();
    count_.store(ALWAYS_HELD, std::memory_order_relaxed);
  } else if (thread_safety_ == SAFETY_PER_OBJECT) {
    mutex_.reset(Platform::create_mutex(true));
  }
  ObjectImpl::add_ref();
}

unsigned int ObjectImpl::add_ref() {
  return step([](unsigned int count) { return count + 1; }) + 1;
}

unsigned int ObjectImpl::remove_ref() {
  unsigned int const before = step([](unsigned int count) { return count > 0 ? count - 1 : 0; });
  // Unless this was the last owner, another one may have deleted the object by now.
  if (before != 1) {
    return before > 0 ? before - 1 : 0;
  }
  if (thread_safety_ == SAFETY_PER_OBJECT) {
    Turn const after_the_last_holder(*this);
  }
  delete this;
  return 0;
}

unsigned int ObjectImpl::ref_count() {
  std::uint64_t const count = count_.load(std::memory_order_acquire);
  return is_lockable() && count >= HOLD
             ? step_in_turn([](unsigned int unchanged) { return unchanged; })
             : owners(count);
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
  if (thread_safety_ == SAFETY_GLOBAL) {
    return GlobalMutex::lock();
  }
  if (mutex_ == nullptr || !mutex_->acquire()) {
    return false;
  }
  note_hold();
  return true;
}

bool ObjectImpl::maybe_unlock() {
  if (!is_lockable()) {
    return true;
  }
  if (thread_safety_ == SAFETY_GLOBAL) {
    return GlobalMutex::unlock();
  }
  if (mutex_ == nullptr || !is_held_by_caller()) {
    return false;
  }
  // Before the release, after which the object may be gone.
  count_.fetch_sub(HOLD, std::memory_order_acq_rel);
  return mutex_->release();
}

bool ObjectImpl::is_lockable() const noexcept {
  return thread_safety_ == SAFETY_GLOBAL || thread_safety_ == SAFETY_PER_OBJECT;
}

// Called with the object's own mutex just taken.
void ObjectImpl::note_hold() noexcept {
  if (is_held_by_caller()) {
    count_.fetch_add(HOLD, std::memory_order_acq_rel);
    return;
  }
  holder_.store(identity(), std::memory_order_relaxed);
  std::uint64_t count = count_.load(std::memory_order_relaxed);
  while (!count_.compare_exchange_weak(count, HOLD | owners(count), std::memory_order_acq_rel,
                                       std::memory_order_relaxed)) {
  }
}

bool ObjectImpl::is_held_by_caller() const noexcept {
  return holder_.load(std::memory_order_relaxed) == identity() &&
         count_.load(std::memory_order_relaxed) >= HOLD;
}

// Goes from one number of owners to the next, and gives the one before.
template <typename Next> unsigned int ObjectImpl::step(Next next) {
  std::uint64_t count = count_.load(std::memory_order_relaxed);
  if (!is_lockable()) {
    count_.store(next(owners(count)), std::memory_order_relaxed);
    return owners(count);
  }
  while (count < HOLD) {
    if (count_.compare_exchange_weak(count, next(owners(count)), std::memory_order_acq_rel,
                                     std::memory_order_relaxed)) {
      return owners(count);
    }
  }
  return step_in_turn(next);
}

// Waits for the mutex first. Others that do not meet a hold, or have no mutex, step meanwhile.
template <typename Next> unsigned int ObjectImpl::step_in_turn(Next next) {
  Turn const turn(*this);
  std::uint64_t count = count_.load(std::memory_order_relaxed);
  while (!count_.compare_exchange_weak(count, with_owners(count, next(owners(count))),
                                       std::memory_order_acq_rel, std::memory_order_relaxed)) {
  }
  return owners(count);
}

} // namespace Ostrel
