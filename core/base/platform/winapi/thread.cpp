// SPDX-License-Identifier: Apache-2.0
// _beginthreadex and TerminateThread, on POSIX threads, which can be cancelled but not ended.
//
// A thread that is to be ended gets a real-time signal from a timer of its own, in growing pauses.
// The handler ends it, through the system's own call and without unwinding, if the stack shows that
// nothing is begun which other threads would wait for (safe_point.cpp). Otherwise the thread goes
// on until the next signal.
//
// The C library does not see such an end. It would take the values of the thread's keys for those
// of the next thread that gets the same stack, so they are cleared, and it releases the stack only
// when the thread is joined, so every thread is.
#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/process/ProcessLock.hpp"
#include "core/base/platform/winapi/cancellation.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/mutex.hpp"
#include "core/base/platform/winapi/safe_point.hpp"
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

constexpr DWORD PATIENCE_MS = 100; // of TerminateThread, for a thread that cannot be ended at once

void adjust_child() noexcept;

// The holder is neither cancelled nor ended.
class ThreadsLock {
private:
  NotCancelled here_;
  ProcessLock lock_{ProcessMutex::THREADS};
};

// Owned by two: its handle and the thread itself. The last of them deletes it.
class Thread final : public Handle {
public:
  Thread(ThreadRoutine routine, void *argument, bool is_suspended) noexcept
      : routine_(routine), argument_(argument), is_suspended_(is_suspended ? 1 : 0) {}

  // Returns the thread's identifier; 0, with `errno`, if no thread can be started.
  DWORD start() noexcept;

  DWORD wait(DWORD milliseconds) noexcept override;
  DWORD resume() noexcept override;
  BOOL terminate() noexcept override;
  void close() noexcept override;

  void move_to_child() noexcept; // for the thread that has forked
  static void on_signal(int signal, siginfo_t *info, void *context) noexcept;

private:
  enum State : std::uint32_t { RUNNING, ENDED, TERMINATED };

  static void *main(void *thread);
  static void leave(void *thread) noexcept;

  bool request_end() noexcept;
  void cancel_request() noexcept;
  void signal_later() noexcept;
  [[noreturn]] void end_here() noexcept;
  bool is_of_parent() const noexcept { return generation_ != AtFork::generation(); }
  bool is_gone() noexcept;

  ThreadRoutine const routine_;
  void *const argument_;
  unsigned int generation_ = AtFork::generation(); // of the process that the thread is in
  pthread_t thread_{};
  std::atomic<std::uint32_t> is_suspended_;   // waited for by the thread
  std::atomic<std::uint32_t> id_{0};          // set by the thread; waited for
  std::atomic<std::uint32_t> state_{RUNNING}; // changes under ProcessMutex::THREADS; waited for
  bool is_closed_ = false; // this and the next three: guarded by ProcessMutex::THREADS
  bool is_joined_ = false;
  bool is_requested_ = false; // it is to end, and has a timer
  timer_t timer_{};
  long pause_ns_ = 50000; // until the next signal, at first; the thread's
};

thread_local Thread *this_thread __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local TerminationHook const *this_hook __attribute__((tls_model("initial-exec"))) = nullptr;

// --- The signal -------------------------------------------------------------------------------

// The signal, from the first forced end until the library is unloaded. Guarded by
// ProcessMutex::THREADS.
struct EndSignal {
  constexpr EndSignal() noexcept = default;
  EndSignal(EndSignal const &) = delete;
  EndSignal &operator=(EndSignal const &) = delete;

  // A thread that has not ended yet keeps its timer, whose signal then must not end the process.
  ~EndSignal() {
    ThreadsLock const lock;
    struct sigaction action = {};
    if (number != 0 && set_action(number, nullptr, &action) == 0 &&
        action.sa_sigaction == Thread::on_signal) {
      action = {};
      action.sa_handler = requests > 0 ? SIG_IGN : SIG_DFL;
      set_action(number, &action, nullptr);
    }
    number = 0;
  }

  // Takes the highest real-time signal that has its default action. False if that cannot be.
  bool take() noexcept {
    set_action = set_action_of_c_library();
    struct sigaction action = {};
    action.sa_sigaction = Thread::on_signal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    for (int signal = SIGRTMAX; set_action != nullptr && number == 0 && signal >= SIGRTMIN;
         --signal) {
      struct sigaction before = {};
      if (set_action(signal, nullptr, &before) != 0 || before.sa_handler != SIG_DFL ||
          set_action(signal, &action, &before) != 0) {
        continue;
      }
      if (before.sa_handler == SIG_DFL) {
        number = signal;
      } else { // the program has set its own one meanwhile
        set_action(signal, &before, nullptr);
      }
    }
    return number != 0;
  }

  SetAction *set_action = nullptr;
  int number = 0;            // 0: not taken
  unsigned int requests = 0; // threads with a timer
} end_signal;

IN_HANDLER void Thread::on_signal(int /*signal*/, siginfo_t *info, void * /*context*/) noexcept {
  Thread *const self = this_thread;
  if (info->si_code != SI_TIMER || self == nullptr || info->si_value.sival_ptr != self) {
    return;
  }
  int const error = errno;
  if (not_ended_blocks == 0 && is_safe_point(reinterpret_cast<void const *>(main))) {
    self->end_here();
  }
  self->signal_later();
  errno = error;
}

// --- The end by force -------------------------------------------------------------------------

bool Thread::request_end() noexcept {
  if (!end_signal.take()) {
    return false;
  }
  sigevent event = {};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = end_signal.number;
  event.sigev_value.sival_ptr = this;
  event._sigev_un._tid = static_cast<pid_t>(id_.load(std::memory_order_relaxed));
  is_requested_ = timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0;
  if (is_requested_) {
    ++end_signal.requests;
    signal_later();
  }
  return is_requested_;
}

void Thread::cancel_request() noexcept {
  if (std::exchange(is_requested_, false)) {
    timer_delete(timer_);
    --end_signal.requests;
  }
}

// The pauses grow slowly, since a thread that makes short calls without end is met outside of them
// in one look of hundreds, up to what a thread may cost that cannot be ended for hours. They are
// uneven, so that they do not meet a loop at the same place each time.
IN_HANDLER void Thread::signal_later() noexcept {
  constexpr long LONGEST_NS = 2000000;
  constexpr long GROWTH = 256; // by one part in so many
  itimerspec when = {};
  when.it_value.tv_nsec = pause_ns_;
  pause_ns_ = std::min(pause_ns_ + pause_ns_ / GROWTH, LONGEST_NS);
  timer_settime(timer_, 0, &when, nullptr);
}

// All signals are blocked. Takes locks and memory, as the program itself may at a safe point.
void Thread::end_here() noexcept {
  if (auto *const word = std::exchange(word_slept_on, nullptr); word != nullptr) {
    wake_one(word);
  }
  for (TerminationHook const *hook = this_hook; hook != nullptr; hook = hook->outer()) {
    hook->run();
  }
  abandon_held_mutexes();
  for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) {
    pthread_setspecific(key, nullptr);
  }
  {
    ThreadsLock const lock;
    cancel_request();
    show_release(&state_);
    state_.store(TERMINATED, std::memory_order_release);
  }
  wake_all(&state_);
  while (is_sanitized()) { // to which a thread that vanishes is a fault: it sleeps for ever
    syscall(SYS_ppoll, nullptr, 0, nullptr, nullptr, 0);
  }
  for (;;) {
    syscall(SYS_exit, 0);
  }
}

BOOL Thread::terminate() noexcept {
  if (is_of_parent()) {
    return TRUE;
  }
  {
    ThreadsLock const lock;
    if (state_.load(std::memory_order_relaxed) == RUNNING && !is_requested_ && !request_end()) {
      return fail(ERROR_GEN_FAILURE);
    }
  }
  wait(PATIENCE_MS);
  return TRUE;
}

// --- The life of a thread ---------------------------------------------------------------------

// Timers and requests stay with the parent.
void adjust_child() noexcept {
  end_signal.requests = 0;
  if (this_thread != nullptr) {
    this_thread->move_to_child();
  }
}

void Thread::move_to_child() noexcept {
  generation_ = AtFork::generation();
  id_.store(static_cast<std::uint32_t>(gettid()), std::memory_order_relaxed);
  is_requested_ = false;
}

// The look at the stack ends here, so it calls the routine itself.
void *Thread::main(void *thread) {
  auto *const self = static_cast<Thread *>(thread);
  this_thread = self;
  // First, and without a lock: the thread that waits for this may be forking and hold all locks.
  self->id_.store(static_cast<std::uint32_t>(gettid()), std::memory_order_release);
  wake_all(&self->id_);
  Deadline const never(INFINITE);
  while (self->is_suspended_.load(std::memory_order_acquire) != 0) {
    sleep_on(self->is_suspended_, 1, never);
  }
  bool const is_end_noticed = call_at_thread_end(leave, self);
  self->routine_(self->argument_); // its exit code has no reader
  if (!is_end_noticed) {
    leave(self);
  }
  return nullptr;
}

// Runs after the destructors of the thread's variables and keys.
void Thread::leave(void *thread) noexcept {
  auto *const self = static_cast<Thread *>(thread);
  this_thread = nullptr;
  bool is_last = false;
  {
    ThreadsLock const lock;
    self->cancel_request();
    self->state_.store(ENDED, std::memory_order_release);
    is_last = self->is_closed_;
  }
  wake_all(&self->state_);
  if (is_last) {
    pthread_detach(self->thread_);
    delete self;
  }
}

DWORD Thread::start() noexcept {
  AtFork::set_child_step(AtFork::THREADS, adjust_child);
  errno = pthread_create(&thread_, nullptr, main, this);
  if (errno != 0) {
    return 0;
  }
  Deadline const never(INFINITE);
  while (id_.load(std::memory_order_acquire) == 0) {
    sleep_on(id_, 0, never);
  }
  return id_.load(std::memory_order_relaxed);
}

DWORD Thread::resume() noexcept {
  DWORD const before = is_suspended_.exchange(0, std::memory_order_acq_rel);
  wake_all(&is_suspended_);
  return before;
}

DWORD Thread::wait(DWORD milliseconds) noexcept {
  Deadline const deadline(milliseconds);
  bool is_in_time = milliseconds != 0;
  while (!is_of_parent() && state_.load(std::memory_order_acquire) == RUNNING) {
    if (!is_in_time) {
      return WAIT_TIMEOUT;
    }
    is_in_time = sleep_on(state_, RUNNING, deadline);
  }
  // No event tells of its last steps. Not awake meanwhile: it may need the processor for them.
  constexpr timespec NAP = {0, 20000};
  while (!is_gone()) {
    if (milliseconds == 0 || deadline.is_over()) {
      return WAIT_TIMEOUT;
    }
    syscall(SYS_nanosleep, &NAP, nullptr);
  }
  return WAIT_OBJECT_0;
}

// A thread that is still to be ended keeps its stack and this object: nothing else could join it.
void Thread::close() noexcept {
  if (!is_of_parent()) {
    ThreadsLock const lock;
    is_closed_ = true;
    std::uint32_t const state = state_.load(std::memory_order_acquire);
    if (state == RUNNING) {
      return;
    }
    if (state == ENDED && !is_joined_) {
      is_joined_ = pthread_detach(thread_) == 0; // nothing waits for its last steps
    }
  }
  wait(INFINITE);
  delete this;
}

// Whether a thread that has ended has also done its last steps: the library can be unloaded then,
// and the stack is released.
bool Thread::is_gone() noexcept {
  ThreadsLock const lock;
  if (!is_joined_ && !is_of_parent()) {
    bool const never_exits = state_.load(std::memory_order_relaxed) == TERMINATED && is_sanitized();
    bool const is_caller = pthread_equal(thread_, pthread_self()) != 0; // in its last steps
    is_joined_ = (never_exits || is_caller ? pthread_detach(thread_)
                                           : pthread_tryjoin_np(thread_, nullptr)) == 0;
  }
  return is_joined_ || is_of_parent();
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
  if (security != nullptr || stack_size != 0 || routine == nullptr ||
      (flags & ~CREATE_SUSPENDED) != 0) {
    errno = EINVAL;
    return 0;
  }
  std::unique_ptr<Ostrel::Thread> thread(
      new (std::nothrow) Ostrel::Thread(routine, argument, /*is_suspended=*/flags != 0));
  if (thread == nullptr) {
    errno = ENOMEM;
    return 0;
  }
  DWORD const started = thread->start();
  if (started == 0) {
    return 0;
  }
  if (id != nullptr) {
    *id = started;
  }
  return reinterpret_cast<std::uintptr_t>(thread.release()->handle());
}

BOOL TerminateThread(HANDLE thread, DWORD /*exit_code*/) {
  Ostrel::Handle *const object = Ostrel::Handle::of(thread);
  return object == nullptr ? Ostrel::fail(ERROR_INVALID_HANDLE) : object->terminate();
}

DWORD ResumeThread(HANDLE thread) {
  Ostrel::Handle *const object = Ostrel::Handle::of(thread);
  if (object == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return static_cast<DWORD>(-1);
  }
  return object->resume();
}
