// SPDX-License-Identifier: Apache-2.0
// _beginthreadex and TerminateThread, on POSIX threads, which can be cancelled but not ended.
//
// A timer sends a real-time signal to a thread that is to end, in growing pauses. The signal's
// handler inspects the stack (posix/stack.cpp). If nothing has begun on it for which other threads
// would wait, the handler ends the thread by the system's own call, without unwinding. Otherwise
// the thread runs on until the next signal.
//
// The C library does not notice such an end. It would keep the values of the thread's keys for the
// next thread that gets the same stack, so they are cleared. It frees the stack only when the
// thread is joined, so every thread is joined: by a wait for it, or later as a zombie.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/posix/stack.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/mutex.hpp"
#include "core/base/platform/winapi/system.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <memory>
#include <new>
#include <utility>

#include <sys/syscall.h>

namespace Ostrel {

namespace {

// Deleted when its handle is closed and the thread has been joined.
class Thread final : public Handle {
public:
  Thread(ThreadRoutine routine, void *argument) noexcept : routine_(routine), argument_(argument) {}

  // Starts the thread, suspended. False, with `errno`, if the system has none.
  bool start(unsigned int *id) noexcept;
  void resume() noexcept { set_phase(RUNNING); }
  BOOL terminate() noexcept;
  DWORD wait(DWORD milliseconds) noexcept override;
  void close() noexcept override;

  static Thread *of(HANDLE handle) noexcept { return static_cast<Thread *>(Handle::of(handle)); }
  static void free_zombies() noexcept;
  static void adjust_child() noexcept;
  static void on_signal(int signal, siginfo_t *info, void *context) noexcept;

private:
  enum Phase : std::uint32_t { NEW, SUSPENDED, RUNNING, ENDED, JOINING, JOINED };

  static void *main(void *thread);
  static void leave(void *thread) noexcept;

  void wait_while(Phase phase) noexcept;
  void set_phase(Phase phase) noexcept;
  void set_ended() noexcept;
  bool join(Deadline const &deadline) noexcept;
  bool request_end() noexcept;
  void signal_later() noexcept;
  [[noreturn]] void exit_thread() noexcept;
  bool is_of_parent() const noexcept { return generation_ != AtFork::generation(); }

  ThreadRoutine const routine_;
  void *const argument_;
  unsigned int generation_ = AtFork::generation(); // of the process that the thread is in
  pthread_t thread_{};
  pid_t id_ = 0; // set by the thread when it is SUSPENDED
  std::atomic<std::uint32_t> phase_{NEW};
  Thread *next_zombie_ = nullptr; // guarded by ProcessMutex::THREADS
  bool is_requested_ = false;     // likewise: it is to end, and has a timer
  timer_t timer_{};               // likewise
  long pause_ns_ = 50000;         // until the next signal, at first; the thread's
};

Thread *zombies = nullptr; // threads whose handle is closed; guarded by ProcessMutex::THREADS

thread_local Thread *this_thread = nullptr;
thread_local TerminationHook const *this_hook = nullptr;

// --- The end by force -------------------------------------------------------------------------

// The signal, from the first forced end until the library is unloaded. Guarded by
// ProcessMutex::THREADS.
struct EndSignal {
  EndSignal() noexcept = default;
  EndSignal(EndSignal const &) = delete;
  EndSignal &operator=(EndSignal const &) = delete;

  // A timer may still send the signal at the end of the process, which it must not kill.
  ~EndSignal() {
    Thread::free_zombies();
    ProcessLock const lock(ProcessMutex::THREADS);
    struct sigaction action = {};
    if (number != 0 && sigaction(number, nullptr, &action) == 0 &&
        action.sa_sigaction == Thread::on_signal) {
      std::signal(std::exchange(number, 0), requests > 0 ? SIG_IGN : SIG_DFL);
    }
  }

  // Takes the highest real-time signal that has its default action. False if that cannot be.
  bool take() noexcept {
    struct sigaction action = {};
    action.sa_sigaction = Thread::on_signal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    for (int signal = SIGRTMAX; number == 0 && signal >= SIGRTMIN; --signal) {
      struct sigaction before = {};
      if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL &&
          sigaction(signal, &action, nullptr) == 0) {
        number = signal;
      }
    }
    return number != 0;
  }

  int number = 0;            // 0: not taken
  unsigned int requests = 0; // threads with a timer
};

EndSignal &end_signal() noexcept {
  static EndSignal signal;
  return signal;
}

[[maybe_unused]] EndSignal &built_at_load = end_signal();

BOOL Thread::terminate() noexcept {
  {
    ProcessLock const lock(ProcessMutex::THREADS);
    bool const is_running = !is_of_parent() && phase_.load(std::memory_order_relaxed) < ENDED;
    if (is_running && !is_requested_ && !request_end()) {
      return fail(ERROR_GEN_FAILURE);
    }
  }
  constexpr DWORD PATIENCE_MS = 100; // for a thread that cannot be ended at once
  wait(PATIENCE_MS);
  return TRUE;
}

bool Thread::request_end() noexcept {
  if (!can_inspect_stack() || !end_signal().take()) {
    return false;
  }
  sigevent event = {};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = end_signal().number;
  event.sigev_value.sival_ptr = this;
  event._sigev_un._tid = id_;
  if (timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0) {
    return false;
  }
  is_requested_ = true;
  ++end_signal().requests;
  signal_later();
  return true;
}

// The pauses grow slowly: a thread that makes short calls without end is met outside of them in one
// look of hundreds. The longest one limits what a thread costs that cannot be ended for hours. They
// are uneven, so that they do not meet a loop at the same place each time.
void Thread::signal_later() noexcept {
  constexpr long LONGEST_NS = 2000000;
  constexpr long GROWTH = 256; // by one part in so many
  itimerspec when = {};
  when.it_value.tv_nsec = pause_ns_;
  pause_ns_ = std::min(pause_ns_ + pause_ns_ / GROWTH, LONGEST_NS);
  timer_settime(timer_, 0, &when, nullptr);
}

void Thread::on_signal(int /*signal*/, siginfo_t *info, void * /*context*/) noexcept {
  Thread *const self = this_thread;
  if (self != nullptr && info->si_value.sival_ptr == self) {
    int const error = errno;
    bool const is_in_wait = TerminableWait::word() != nullptr;
    if (is_safe_to_end(reinterpret_cast<void const *>(main), is_in_wait)) {
      self->exit_thread();
    }
    self->signal_later();
    errno = error;
  }
}

// All signals are blocked. Acquires locks and memory, as the program itself may where it is.
void Thread::exit_thread() noexcept {
  if (auto *const word = TerminableWait::word(); word != nullptr) {
    wake_one(word);
  }
  for (TerminationHook const *hook = this_hook; hook != nullptr; hook = hook->outer()) {
    hook->run();
  }
  abandon_held_mutexes();
  for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) {
    pthread_setspecific(key, nullptr);
  }
  set_ended();
  for (;;) {
    syscall(SYS_exit, 0);
  }
}

// --- The life of a thread ---------------------------------------------------------------------

bool Thread::start(unsigned int *id) noexcept {
  AtFork::set_child_step(AtFork::THREADS, adjust_child);
  free_zombies();
  errno = pthread_create(&thread_, nullptr, main, this);
  if (errno != 0) {
    return false;
  }
  wait_while(NEW);
  *id = static_cast<unsigned int>(id_);
  return true;
}

// The look at the stack ends here, so it calls the routine itself.
void *Thread::main(void *thread) {
  auto *const self = static_cast<Thread *>(thread);
  this_thread = self;
  self->id_ = gettid();
  // Without a lock: the thread that waits for this may be forking and hold all locks.
  self->set_phase(SUSPENDED);
  self->wait_while(SUSPENDED);
  bool const is_end_noticed = call_at_thread_end(leave, self);
  self->routine_(self->argument_); // its exit code has no reader
  if (!is_end_noticed) {
    leave(self);
  }
  return nullptr;
}

// Runs after the destructors of the thread's variables and keys.
void Thread::leave(void *thread) noexcept {
  this_thread = nullptr;
  static_cast<Thread *>(thread)->set_ended();
}

void Thread::set_ended() noexcept {
  ProcessLock const lock(ProcessMutex::THREADS);
  if (is_requested_) {
    timer_delete(timer_);
    --end_signal().requests;
  }
  set_phase(ENDED);
}

void Thread::wait_while(Phase phase) noexcept {
  Deadline const never(INFINITE);
  while (phase_.load(std::memory_order_acquire) == phase) {
    sleep_on(phase_, phase, never);
  }
}

void Thread::set_phase(Phase phase) noexcept {
  phase_.store(phase, std::memory_order_release);
  wake_all(&phase_);
}

DWORD Thread::wait(DWORD milliseconds) noexcept {
  Deadline const deadline(milliseconds);
  bool is_in_time = milliseconds != 0;
  std::uint32_t phase = NEW;
  while (!is_of_parent() && (phase = phase_.load(std::memory_order_acquire)) < ENDED) {
    if (!is_in_time) {
      return WAIT_TIMEOUT;
    }
    TerminableWait const here;
    is_in_time = sleep_on(phase_, phase, deadline);
  }
  return is_of_parent() || join(deadline) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

// Waits for the last steps of a thread that has ended: afterwards the library can be unloaded. One
// of several waiters does it for all. The thread itself, in its last steps, does not wait. False if
// the deadline passes.
bool Thread::join(Deadline const &deadline) noexcept {
  NotCancelled const here;
  std::uint32_t phase = ENDED;
  while (!phase_.compare_exchange_strong(phase, JOINING)) {
    if (phase == JOINED || !sleep_on(phase_, JOINING, deadline)) {
      return phase == JOINED;
    }
    phase = ENDED;
  }
  int const error = deadline.time() == nullptr
                        ? pthread_join(thread_, nullptr)
                        : pthread_clockjoin_np(thread_, nullptr, CLOCK_MONOTONIC, deadline.time());
  set_phase(error == 0 ? JOINED : ENDED);
  return error != ETIMEDOUT;
}

void Thread::close() noexcept {
  {
    ProcessLock const lock(ProcessMutex::THREADS);
    next_zombie_ = std::exchange(zombies, this);
  }
  free_zombies();
}

// Those that still run stay, until a later thread is started or closed.
void Thread::free_zombies() noexcept {
  ProcessLock const lock(ProcessMutex::THREADS);
  for (Thread **place = &zombies; *place != nullptr;) {
    Thread *const zombie = *place;
    if (zombie->is_of_parent() || zombie->phase_.load(std::memory_order_relaxed) == JOINED ||
        pthread_tryjoin_np(zombie->thread_, nullptr) == 0) {
      *place = zombie->next_zombie_;
      delete zombie;
    } else {
      place = &zombie->next_zombie_;
    }
  }
}

// Timers and requests stay with the parent.
void Thread::adjust_child() noexcept {
  end_signal().requests = 0;
  if (this_thread != nullptr) {
    this_thread->generation_ = AtFork::generation();
    this_thread->id_ = gettid();
    this_thread->is_requested_ = false;
  }
}

} // namespace

TerminationHook::TerminationHook(void (*action)(void *), void *argument) noexcept
    : action_(action), argument_(argument), outer_(this_hook) {
  std::atomic_signal_fence(std::memory_order_release);
  this_hook = this;
}

TerminationHook::~TerminationHook() {
  this_hook = outer_;
}

} // namespace Ostrel

std::uintptr_t _beginthreadex(void *security, unsigned int stack_size, ThreadRoutine routine,
                              void *argument, unsigned int flags, unsigned int *id) {
  if (security != nullptr || stack_size != 0 || routine == nullptr || id == nullptr ||
      flags != CREATE_SUSPENDED) {
    errno = EINVAL;
    return 0;
  }
  std::unique_ptr<Ostrel::Thread> thread(new (std::nothrow) Ostrel::Thread(routine, argument));
  if (thread == nullptr) {
    errno = ENOMEM;
    return 0;
  }
  if (!thread->start(id)) {
    return 0;
  }
  return reinterpret_cast<std::uintptr_t>(thread.release()->handle());
}

BOOL TerminateThread(HANDLE thread, DWORD /*exit_code*/) {
  return Ostrel::Thread::of(thread)->terminate();
}

DWORD ResumeThread(HANDLE thread) {
  Ostrel::Thread::of(thread)->resume();
  return 1;
}
