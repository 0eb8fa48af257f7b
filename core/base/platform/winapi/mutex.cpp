// SPDX-License-Identifier: Apache-2.0
// CreateMutexA, OpenMutexA and ReleaseMutex, on one atomic word for a mutex without a name.
//
// The word holds the owner's thread identifier and flags. Acquiring a free mutex and releasing it
// are one atomic operation each. A thread that finds the mutex owned sets WAITERS and sleeps on the
// word. A release with WAITERS set wakes one sleeper, which acquires the mutex with WAITERS set
// again, since it cannot know whether further threads sleep.
//
// An event can be set for a sleeper that acquires the mutex next: woken at once, it would find the
// mutex owned. It is woken by the release instead. Only one sleeper: if several are released
// together, the rest are woken at once and sleep on the mutex.
//
// A mutex must notice that its owner ends. Each thread links the mutexes that it owns into a list,
// and a key of the thread, whose destructor the system runs at the thread's end, marks those still
// in the list as abandoned. Only the owner follows or changes the links of a mutex.
#include "core/base/platform/winapi/mutex.hpp"

#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/system.hpp"

#include <atomic>
#include <cerrno>
#include <climits>
#include <memory>
#include <new>
#include <utility>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr std::uint32_t WAITERS = 0x80000000;   // threads may be sleeping on the word
constexpr std::uint32_t ABANDONED = 0x40000000; // free, but its last owner ended without a release
constexpr std::uint32_t CLOSED = 0x20000000;    // its handle is closed: the owner's end frees it
constexpr std::uint32_t WAKES = 0x10000000;     // its release wakes the sleeper of an event
constexpr std::uint32_t OWNER = 0x0FFFFFFF;     // more bits than a thread identifier has
constexpr std::uint32_t NO_THREAD = OWNER;      // a thread's identifier before its first use

class Mutex;

// What the layer knows about a thread. Constant at first and reached without a call: a mutex is
// acquired in a few nanoseconds, before any constructor has run and when there is no memory.
struct Thread {
  std::uint32_t id = NO_THREAD;
  int end_round = 0;     // how often the destructor of the key has run
  Mutex *held = nullptr; // the mutex that it acquired last
  // The word whose sleeper it wakes when it releases a mutex with WAKES.
  std::atomic<std::uint32_t> *wakes = nullptr;
  void (*at_end)(void *) = nullptr; // called at its end
  void *at_end_argument = nullptr;
};

thread_local Thread this_thread;

std::uint32_t system_thread_id() noexcept {
  return static_cast<std::uint32_t>(syscall(SYS_gettid));
}

// All zero is a free mutex of its own (not an inner one): so one can live in static storage that
// nothing has to construct (static_mutex).
class Mutex {
public:
  explicit Mutex(bool is_inner) noexcept : is_inner_(is_inner) {}
  Mutex(Mutex const &) = delete;
  Mutex &operator=(Mutex const &) = delete;

  static Mutex &of(HANDLE handle) noexcept {
    return *static_cast<Mutex *>(Handle::mutex_address(handle));
  }
  HANDLE handle() noexcept { return Handle::mutex_handle(this); }

  DWORD wait(DWORD milliseconds) noexcept;
  BOOL release() noexcept;
  void close() noexcept;

  // Called by the owner, at its end, on every mutex that it holds.
  void abandon() noexcept;

  bool wake_at_release(std::atomic<std::uint32_t> *word) noexcept;

  // Called in the child of a fork, on what its thread holds.
  void adopt(std::uint32_t owner) noexcept { word_.store(owner, std::memory_order_relaxed); }

  bool is_owned_by(Thread const &thread) const noexcept {
    return (word_.load(std::memory_order_relaxed) & OWNER) == thread.id;
  }

  Mutex *next() const noexcept { return next_; }

private:
  // Not inlined: the fast path would save registers that only these need.
  __attribute__((noinline)) DWORD wait_contended(Thread &self, DWORD milliseconds) noexcept;
  __attribute__((noinline)) BOOL finish_release(std::uint32_t old) noexcept;

  DWORD wait_as_sleeper(Thread &self, DWORD milliseconds) noexcept;
  DWORD acquire_if_free(Thread &self, std::uint32_t flags) noexcept;
  bool is_owner_lost(std::uint32_t word) const noexcept;
  void forget_owner() noexcept;
  void link(Thread &self) noexcept;
  void unlink(Thread &self) noexcept;

  std::atomic<std::uint32_t> word_{0};
  bool const is_inner_; // of a mutex with a name
  // The owner's. In a mutex that is free, depth and previous are as in one that was just acquired:
  // there is less to write, and a locked operation waits for each write before it.
  std::uint64_t depth_ = 0;   // how often the owner has acquired it again
  Mutex *next_ = nullptr;     // held by the same thread, acquired before this one
  Mutex *previous_ = nullptr; // likewise, acquired after it
};

// --- The end of a thread, and fork ------------------------------------------------------------

void abandon_at_thread_end(void *thread) noexcept;

// Called in the child of a fork, whose one thread has another identifier than in the parent.
void adopt_held_mutexes() noexcept {
  if (this_thread.id == NO_THREAD) {
    return;
  }
  this_thread.id = system_thread_id();
  this_thread.wakes = nullptr;
  for (Mutex *mutex = this_thread.held; mutex != nullptr; mutex = mutex->next()) {
    mutex->adopt(this_thread.id);
  }
}

// Has AtFork called around every fork from now on, if that is not so yet: at load there may be no
// memory for it. The system calls what was registered first as the innermost: by registering at
// load, the library stands inside the steps of a program that uses it from its own.
void register_around_fork() noexcept {
  static std::atomic<bool> is_registered{false};
  if (!is_registered.load(std::memory_order_relaxed) && !is_registered.exchange(true) &&
      pthread_atfork(AtFork::before, AtFork::after_in_parent, AtFork::after_in_child) != 0) {
    is_registered = false;
  }
}

// The key through which the end of a thread is noticed.
pthread_key_t end_key = 0;
std::atomic<bool> has_end_key{false};

// Deletes the key when the library is unloaded, since threads that end later would call a function
// that is no longer there.
struct EndKey {
  EndKey() noexcept {
    has_end_key = pthread_key_create(&end_key, abandon_at_thread_end) == 0;
    register_around_fork();
    AtFork::set_child_step(AtFork::MUTEX_OWNERS, adopt_held_mutexes);
  }
  EndKey(EndKey const &) = delete;
  EndKey &operator=(EndKey const &) = delete;
  ~EndKey() {
    if (has_end_key.exchange(false)) {
      pthread_key_delete(end_key);
    }
  }
};

// Without a key the thread can use mutexes all the same; only its end goes unnoticed. False then.
bool watch(Thread &thread) noexcept {
  static EndKey const key;
  return has_end_key.load(std::memory_order_relaxed) && pthread_setspecific(end_key, &thread) == 0;
}

// From the load on, so that no thread is creating the key while another one forks.
[[maybe_unused]] bool const is_watched_at_load = watch(this_thread);

// The destructors of the program's own keys may still use and release what the thread holds, and
// the system runs them in rounds: hence in a late one. In the last round the sanitizers end the
// thread for themselves, and nothing may run after that.
void abandon_at_thread_end(void *thread) noexcept {
  constexpr int LAST_ROUND = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
  Thread &self = *static_cast<Thread *>(thread);
  bool const is_needed = self.held != nullptr || self.at_end != nullptr;
  if (is_needed && ++self.end_round < LAST_ROUND && watch(self)) {
    return;
  }
  abandon_held_mutexes();
  // The destructor of another key may acquire a mutex later: the thread is then watched anew.
  self.end_round = 0;
  self.id = NO_THREAD;
  if (auto *const at_end = std::exchange(self.at_end, nullptr); at_end != nullptr) {
    at_end(self.at_end_argument);
  }
}

// Returns whether the end of the thread will be noticed.
bool enter(Thread &self) noexcept {
  register_around_fork();
  self.id = system_thread_id();
  return watch(self);
}

// --- The mutex --------------------------------------------------------------------------------

// Inlined with its calls, as is the release: the two cost little more than their locked operations,
// for each of which the processor finishes everything before it.
__attribute__((always_inline)) inline DWORD Mutex::wait(DWORD milliseconds) noexcept {
  Thread &self = this_thread;
  std::uint32_t const id = self.id;
  std::uint32_t word = 0;
  if (id != NO_THREAD && word_.compare_exchange_strong(word, id, std::memory_order_acquire,
                                                       std::memory_order_relaxed)) {
    link(self);
    return WAIT_OBJECT_0;
  }
  if ((word & OWNER) == id) {
    ++depth_;
    return WAIT_OBJECT_0;
  }
  return wait_contended(self, milliseconds);
}

DWORD Mutex::wait_contended(Thread &self, DWORD milliseconds) noexcept {
  if (self.id == NO_THREAD) {
    enter(self);
  }
  DWORD const result = acquire_if_free(self, 0);
  return result != WAIT_TIMEOUT || milliseconds == 0 ? result : wait_as_sleeper(self, milliseconds);
}

DWORD Mutex::wait_as_sleeper(Thread &self, DWORD milliseconds) noexcept {
  // A sleeper that was woken must not time out before it has set WAITERS for the next one, in whose
  // place it may have been woken. So only the sleep checks the deadline.
  Deadline const deadline(milliseconds);
  TerminableWait const here(&word_);
  bool is_in_time = true;
  DWORD result = WAIT_TIMEOUT;
  while ((result = acquire_if_free(self, WAITERS)) == WAIT_TIMEOUT && is_in_time) {
    std::uint32_t const word = word_.fetch_or(WAITERS, std::memory_order_relaxed) | WAITERS;
    is_in_time = (word & OWNER) == 0 || sleep_on(word_, word, deadline);
  }
  return result;
}

// Acquires the mutex unless a thread owns it, and sets `flags` with it.
DWORD Mutex::acquire_if_free(Thread &self, std::uint32_t flags) noexcept {
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  while ((word & OWNER) == 0 || is_owner_lost(word)) {
    std::uint32_t const acquired = self.id | flags | (word & WAITERS);
    if (word_.compare_exchange_weak(word, acquired, std::memory_order_acquire,
                                    std::memory_order_relaxed)) {
      if ((word & OWNER) != 0) {
        forget_owner();
      }
      link(self);
      return word == 0 || word == WAITERS ? WAIT_OBJECT_0 : WAIT_ABANDONED;
    }
  }
  return WAIT_TIMEOUT;
}

// In the child of a fork the mutexes of the parent's other threads look owned.
bool Mutex::is_owner_lost(std::uint32_t word) const noexcept {
  return AtFork::generation() != 0 && syscall(SYS_tgkill, getpid(), word & OWNER, 0) == -1 &&
         errno == ESRCH;
}

__attribute__((always_inline)) inline BOOL Mutex::release() noexcept {
  Thread &self = this_thread;
  std::uint32_t const id = self.id;
  if ((word_.load(std::memory_order_relaxed) & OWNER) != id) {
    return fail(ERROR_NOT_OWNER);
  }
  if (depth_ > 0) {
    --depth_;
    return TRUE;
  }
  unlink(self);
  std::uint32_t const old = word_.exchange(0, std::memory_order_acq_rel);
  return old == id ? TRUE : finish_release(old);
}

bool Mutex::wake_at_release(std::atomic<std::uint32_t> *word) noexcept {
  Thread &self = this_thread;
  if (!is_owned_by(self) || self.wakes != nullptr) {
    return false;
  }
  self.wakes = word;
  word_.fetch_or(WAKES, std::memory_order_relaxed);
  return true;
}

void Mutex::abandon() noexcept {
  forget_owner();
  if (is_inner_) {
    abandon_file_of(handle());
  }
  finish_release(word_.exchange(ABANDONED, std::memory_order_acq_rel));
}

// Leaves depth and previous as they are in a mutex that is free.
void Mutex::forget_owner() noexcept {
  depth_ = 0;
  previous_ = nullptr;
}

// The mutex is no longer the caller's: only what the word held before may be looked at.
BOOL Mutex::finish_release(std::uint32_t old) noexcept {
  if ((old & WAKES) != 0) {
    wake_one(std::exchange(this_thread.wakes, nullptr));
  }
  if ((old & CLOSED) != 0) {
    delete this;
  } else if ((old & WAITERS) != 0) {
    wake_one(&word_);
  }
  return TRUE;
}

void Mutex::close() noexcept {
  std::uint32_t const old = word_.fetch_or(CLOSED, std::memory_order_acq_rel);
  if ((old & OWNER) == this_thread.id) {
    unlink(this_thread);
    finish_release(old | CLOSED);
  } else if ((old & OWNER) == 0 || is_owner_lost(old)) {
    delete this;
  }
}

void Mutex::link(Thread &self) noexcept {
  next_ = self.held;
  if (next_ != nullptr) {
    next_->previous_ = this;
  }
  self.held = this;
}

void Mutex::unlink(Thread &self) noexcept {
  if (next_ != nullptr) {
    next_->previous_ = previous_;
  }
  if (previous_ == nullptr) {
    self.held = next_;
    return;
  }
  previous_->next_ = next_;
  previous_ = nullptr;
}

HANDLE create_unnamed_mutex(bool initially_owned, bool is_inner) noexcept {
  std::unique_ptr<Mutex> mutex(new (std::nothrow) Mutex(is_inner));
  if (mutex == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if (initially_owned) {
    mutex->wait(0);
  }
  return mutex.release()->handle();
}

} // namespace

bool wake_at_release(HANDLE mutex, std::atomic<std::uint32_t> *word) noexcept {
  return Handle::is_mutex(mutex) && Mutex::of(mutex).wake_at_release(word);
}

HANDLE create_inner_mutex() noexcept {
  return create_unnamed_mutex(/*initially_owned=*/false, /*is_inner=*/true);
}

bool owns_inner_mutex(HANDLE mutex) noexcept {
  return Mutex::of(mutex).is_owned_by(this_thread);
}

void abandon_held_mutexes() noexcept {
  Mutex *mutex = std::exchange(this_thread.held, nullptr);
  while (mutex != nullptr) {
    Mutex *const next = mutex->next();
    mutex->abandon();
    mutex = next;
  }
}

bool call_at_thread_end(void (*function)(void *), void *argument) noexcept {
  Thread &self = this_thread;
  self.at_end_argument = argument;
  self.at_end = enter(self) ? function : nullptr;
  return self.at_end != nullptr;
}

DWORD wait_for_mutex(HANDLE mutex, DWORD milliseconds) noexcept {
  return Mutex::of(mutex).wait(milliseconds);
}

void close_mutex(HANDLE mutex) noexcept {
  Mutex::of(mutex).close();
}

void *static_mutex(void *storage) noexcept {
  constexpr std::size_t STORAGE_BYTES = 64;
  static_assert(sizeof(Mutex) <= STORAGE_BYTES && alignof(Mutex) <= alignof(std::uint64_t));
  return Handle::mutex_handle(storage);
}

} // namespace Ostrel

HANDLE CreateMutexA(SECURITY_ATTRIBUTES *security, BOOL initially_owned, char const *name) {
  if (security != nullptr) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  if (name == nullptr) {
    return Ostrel::create_unnamed_mutex(initially_owned != FALSE, /*is_inner=*/false);
  }
  using Ostrel::Missing;
  return Ostrel::named_mutex(name,
                             initially_owned != FALSE ? Missing::CREATE_OWNED : Missing::CREATE);
}

HANDLE OpenMutexA(DWORD /*access*/, BOOL /*inherit_handle*/, char const *name) {
  if (name == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return Ostrel::named_mutex(name, Ostrel::Missing::FAIL);
}

BOOL ReleaseMutex(HANDLE mutex) {
  using Ostrel::Handle;
  if (Handle::is_mutex(mutex)) {
    return Ostrel::Mutex::of(mutex).release();
  }
  Handle *const object = Handle::of(mutex);
  return object == nullptr ? Ostrel::fail(ERROR_INVALID_HANDLE) : object->release_mutex();
}
