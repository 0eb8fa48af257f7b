// SPDX-License-Identifier: Apache-2.0
// _beginthreadex and TerminateThread, on POSIX threads, which can be cancelled but not ended.
//
// A thread that is to be ended gets a signal. Where the handler finds that nothing is begun that
// others would wait for (safe_point.cpp), the thread leaves through the system's own call for that,
// from inside the handler: nothing of its stack is unwound and no destructor of its variables runs.
// Elsewhere the thread goes on, and ends when the call returns that holds it up, or when a timer of
// the thread asks again.
//
// The signal is one that the C library keeps for itself and therefore never lets a program block.
// Its own use of it (changing the user of all threads) is passed on, to the end: it waits for the
// answer of each thread, except of one that the system does not know. It would mistake the values
// of a thread's keys for those of the next thread that it gives the same stack, so they are
// cleared.
#include "core/base/platform/winapi/cancellation.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/fork.hpp"
#include "core/base/platform/winapi/handle.hpp"
#include "core/base/platform/winapi/mutex.hpp"
#include "core/base/platform/winapi/safe_point.hpp"
#include "core/base/platform/winapi/wait.hpp"

#include <algorithm>
#include <atomic>
#include <climits>
#include <csignal>
#include <ctime>
#include <memory>
#include <new>
#include <utility>

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Ostrel {

namespace {

constexpr int SIGNAL = __SIGRTMIN + 1;
constexpr DWORD PATIENCE_MS = 100; // of TerminateThread, for a thread that cannot be ended at once

void keep_forking_thread() noexcept;

ForkMutex threads_guard{keep_forking_thread};

// Nobody is cancelled or ended who holds it.
class ThreadsLock {
private:
  NotCancelled here_;
  ForkLock lock_{threads_guard};
};

// It belongs to two: who has its handle, and the thread. The last of them deletes it.
class Thread final : public Handle {
public:
  Thread(ThreadRoutine routine, void *argument) noexcept : routine_(routine), argument_(argument) {}

  // Gives the thread's identifier; 0, with `errno`, when no thread can be had.
  DWORD start(std::size_t stack_size) noexcept;

  DWORD wait(DWORD milliseconds) noexcept override;
  BOOL terminate() noexcept override;
  void close() noexcept override;

  // For the thread that has forked, in the child.
  void move_to_child() noexcept;

private:
  enum State : std::uint32_t { RUNNING, ENDED, TERMINATED };
  enum class Stack { TAKEN, LOOKED_AFTER, GIVEN_BACK };

  static void *main(void *thread);
  static void leave(void *thread) noexcept;
  static void on_signal(int signal, siginfo_t *info, void *context) noexcept;
  [[noreturn]] static void end_after_call() noexcept;
  static bool take_signal() noexcept;
  static void release_gone() noexcept;

  bool ask() noexcept;
  bool ask_in(std::int64_t nanoseconds) const noexcept;
  void drop_timer() noexcept;
  void ask_again(bool is_asleep) noexcept;
  void end_if_safe(ucontext_t const &context) noexcept;
  [[noreturn]] void end_here() noexcept;
  bool is_of_parent() const noexcept { return getpid() != process_; }
  bool is_gone() noexcept;

  ThreadRoutine const routine_;
  void *const argument_;
  pid_t process_ = getpid(); // a copy of it, made by fork, has no thread but the one that forked
  pthread_t thread_{};
  std::atomic<std::uint32_t> id_{0};          // set by the thread; waited for
  std::atomic<std::uint32_t> state_{RUNNING}; // changes under threads_guard; waited for
  // Guarded by threads_guard, and atomic: the thread sanitizer sees no mutex in a signal handler.
  std::atomic<bool> is_closed_{false};
  std::atomic<Stack> stack_{Stack::TAKEN};
  bool is_asked_ = false;     // guarded by threads_guard: it is being terminated, and has a timer
  timer_t timer_{};           // when it is asked
  unsigned int attempts_ = 0; // the thread's: how often it could not be ended
  unsigned int slowness_ = 1; // the thread's: by how much the next pause is longer
  TurnedCall turned_;         // the thread's: the call after which it ends
  Thread *next_ = nullptr;    // of those that are gone
};

// Terminated when nobody had their handles any more: the next caller gives their stacks back.
std::atomic<Thread *> gone{nullptr};

thread_local Thread *this_thread __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local TerminationHook const *this_hook __attribute__((tls_model("initial-exec"))) = nullptr;

// --- The signal -------------------------------------------------------------------------------

// The kernel's own form: the C library gives nobody access to this signal.
struct Action {
  void (*handler)(int, siginfo_t *, void *);
  unsigned long flags;
  void (*restorer)();
  std::uint64_t mask;
};

Action library_action{}; // what the C library does with the signal; guarded by threads_guard

long exchange_action(Action const *action, Action *old) noexcept {
  return syscall(SYS_rt_sigaction, SIGNAL, action, old, sizeof(action->mask));
}

// What the C library knows the thread by stands where the kernel is to write that it is gone.
// Replaced by what no thread has, so that the library waits for no answer any more. Not every
// kernel tells the place.
void hide_from_library() noexcept {
  constexpr int NO_THREAD = INT_MAX;
  int *place = nullptr;
  if (prctl(PR_GET_TID_ADDRESS, &place, 0, 0, 0) == 0 && place != nullptr && *place == gettid()) {
    __atomic_store_n(place, NO_THREAD, __ATOMIC_RELEASE);
  }
}

// The C library's own signal reaches the thread to the last moment. Who had read its number before
// that was replaced has another moment to send it; a sender that is held up longer than that waits
// for an answer that does not come.
[[noreturn]] void vanish() noexcept {
  std::uint64_t const all_others = ~(std::uint64_t{1} << (SIGNAL - 1));
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &all_others, nullptr, sizeof(all_others));
  // Under a sanitizer it sleeps for as long as the process lives: what that knows of the thread
  // must not vanish.
  while (is_sanitized()) {
    syscall(SYS_rt_sigsuspend, &all_others, sizeof(all_others));
  }
  hide_from_library();
  timespec const moment = {0, 1};
  syscall(SYS_nanosleep, &moment, nullptr);
  for (;;) {
    syscall(SYS_exit, 0);
  }
}

void clear_keys() noexcept {
  for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) {
    pthread_setspecific(key, nullptr);
  }
}

// Called in any thread, be it one that a sanitizer does not know yet.
IN_HANDLER void Thread::on_signal(int signal, siginfo_t *info, void *context) noexcept {
  if (info->si_code != SI_TIMER) {
    library_action.handler(signal, info, context);
    return;
  }
  Thread *const self = this_thread;
  if (self == nullptr || info->si_value.sival_ptr != self) {
    return;
  }
  int const error = errno;
  self->end_if_safe(*static_cast<ucontext_t const *>(context));
  errno = error;
}

void Thread::end_if_safe(ucontext_t const &context) noexcept {
  undo_turn(context, turned_);
  auto const look = look_for_safe_point(context, reinterpret_cast<void const *>(main));
  if (look.point == SafePoint::HERE && not_ended_blocks == 0) {
    end_here();
  }
  turned_ = look.way_back != nullptr ? turn_way_back(look.way_back, end_after_call) : TurnedCall();
  ask_again(/*is_asleep=*/look.point != SafePoint::SOON || turned_.way_back != nullptr);
}

void Thread::end_after_call() noexcept {
  std::uint64_t const all = ~std::uint64_t{0};
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &all, nullptr, sizeof(all));
  this_thread->end_here();
}

// Takes the signal from the C library, which gives it a handler with the first thread of the
// process. False when it cannot be had. Needs threads_guard held.
bool Thread::take_signal() noexcept {
  Action action = {};
  if (!knows_safe_points() || exchange_action(nullptr, &action) != 0 || action.handler == nullptr) {
    return false;
  }
  if (action.handler == on_signal) {
    return true;
  }
  library_action = action;
  action.handler = on_signal;
  action.flags |= SA_SIGINFO | SA_RESTART;
  action.mask = ~std::uint64_t{0};
  return exchange_action(&action, nullptr) == 0;
}

// --- The end by force -------------------------------------------------------------------------

// Needs threads_guard held.
bool Thread::ask() noexcept {
  if (!take_signal()) {
    return false;
  }
  sigevent event = {};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = SIGNAL;
  event.sigev_value.sival_ptr = this;
  event._sigev_un._tid = static_cast<pid_t>(id_.load(std::memory_order_relaxed));
  if (timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0) {
    return false;
  }
  is_asked_ = ask_in(1);
  if (!is_asked_) {
    timer_delete(timer_);
  }
  return is_asked_;
}

bool Thread::ask_in(std::int64_t nanoseconds) const noexcept {
  itimerspec when = {};
  when.it_value.tv_nsec = nanoseconds;
  return timer_settime(timer_, 0, &when, nullptr) == 0;
}

// Needs threads_guard held.
void Thread::drop_timer() noexcept {
  if (std::exchange(is_asked_, false)) {
    timer_delete(timer_);
  }
}

// Soon, since most calls are short, but a thread that sleeps for long is not kept awake by the
// question. Uneven, since a loop of the same length would be met at the same place each time.
void Thread::ask_again(bool is_asleep) noexcept {
  constexpr std::int64_t SOON_NS = 100000;
  constexpr std::int64_t STEP_NS = 997;
  constexpr unsigned int STEPS = 64;
  constexpr unsigned int SLOWEST = 64;
  slowness_ = is_asleep ? std::min(2 * slowness_, SLOWEST) : 1;
  ask_in((SOON_NS + STEP_NS * (++attempts_ % STEPS)) * slowness_);
}

void Thread::end_here() noexcept {
  for (TerminationHook const *hook = std::exchange(this_hook, nullptr); hook != nullptr;
       hook = hook->outer()) {
    hook->run();
  }
  abandon_held_mutexes();
  clear_keys();
  {
    ThreadsLock const lock;
    drop_timer();
    show_release(&state_);
    state_.store(TERMINATED, std::memory_order_release);
    if (is_closed_) {
      next_ = gone.load(std::memory_order_relaxed);
      show_release(&gone);
      while (!gone.compare_exchange_weak(next_, this, std::memory_order_release)) {
      }
    }
  }
  wake_all(&state_);
  this_thread = nullptr; // the handler has nothing to do any more
  vanish();
}

// What asks it to end stays with the parent's.
void Thread::move_to_child() noexcept {
  process_ = getpid();
  id_.store(static_cast<std::uint32_t>(gettid()), std::memory_order_relaxed);
  is_asked_ = false;
}

void keep_forking_thread() noexcept {
  if (this_thread != nullptr) {
    this_thread->move_to_child();
  }
}

BOOL Thread::terminate() noexcept {
  if (is_of_parent()) {
    return TRUE;
  }
  {
    ThreadsLock const lock;
    if (state_.load(std::memory_order_relaxed) == RUNNING && !is_asked_ && !ask()) {
      return fail(ERROR_GEN_FAILURE);
    }
  }
  wait(PATIENCE_MS);
  return TRUE;
}

// --- The life of a thread ---------------------------------------------------------------------

// The stack of a thread that can be terminated ends here: it calls the routine itself. An exception
// that comes as far ends the process; a thread that ends itself unwinds through here.
void *Thread::main(void *thread) {
  auto *const self = static_cast<Thread *>(thread);
  this_thread = self;
  // First, and without a lock: who starts it may be forking, and then has all of them.
  self->id_.store(static_cast<std::uint32_t>(gettid()), std::memory_order_release);
  wake_all(&self->id_);
  bool const is_told = call_at_thread_end(leave, self);
  // Also when the thread ends itself.
  struct AtReturn {
    ~AtReturn() {
      if (thread != nullptr) {
        leave(thread);
      }
    }
    Thread *const thread;
  } const at_return = {is_told ? nullptr : self};
  self->routine_(self->argument_); // nobody asks for the exit code
  return nullptr;
}

// Runs after the destructors of the thread's variables and keys.
void Thread::leave(void *thread) noexcept {
  auto *const self = static_cast<Thread *>(thread);
  this_thread = nullptr;
  bool is_last = false;
  {
    ThreadsLock const lock;
    self->drop_timer();
    self->state_.store(ENDED, std::memory_order_release);
    is_last = self->is_closed_;
  }
  wake_all(&self->state_);
  if (is_last) {
    pthread_detach(self->thread_);
    delete self;
  }
}

DWORD Thread::start(std::size_t stack_size) noexcept {
  release_gone();
  { ThreadsLock const known_to_forks; } // for `move_to_child`, when the new thread makes one
  pthread_attr_t attributes;
  int error = pthread_attr_init(&attributes);
  if (error == 0 && stack_size != 0) {
    error = pthread_attr_setstacksize(
        &attributes, std::max(stack_size, static_cast<std::size_t>(PTHREAD_STACK_MIN)));
  }
  if (error == 0) {
    error = pthread_create(&thread_, &attributes, main, this);
    pthread_attr_destroy(&attributes);
  }
  if (error != 0) {
    errno = error;
    return 0;
  }
  Deadline const never(INFINITE);
  while (id_.load(std::memory_order_acquire) == 0) {
    sleep_on(id_, 0, never);
  }
  return id_.load(std::memory_order_relaxed);
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
  // Its last steps tell nobody. Not awake: it may need the processor for them.
  constexpr timespec NAP = {0, 20000};
  while (!is_gone()) {
    if (milliseconds == 0 || deadline.is_over()) {
      return WAIT_TIMEOUT;
    }
    syscall(SYS_nanosleep, &NAP, nullptr);
  }
  return WAIT_OBJECT_0;
}

void Thread::close() noexcept {
  bool is_terminated = false;
  if (!is_of_parent()) {
    ThreadsLock const lock;
    is_closed_ = true;
    std::uint32_t const state = state_.load(std::memory_order_acquire);
    if (state == RUNNING) {
      return;
    }
    is_terminated = state == TERMINATED;
  }
  if (is_terminated) {
    wait(INFINITE);
  } else if (!is_of_parent() && stack_.exchange(Stack::GIVEN_BACK) == Stack::TAKEN) {
    pthread_detach(thread_); // it needs nobody for its last steps
  }
  delete this;
}

// Whether a thread that has ended has also done its last steps: the library can be unloaded then,
// and the stack is given back. The system tells one thread at a time.
bool Thread::is_gone() noexcept {
  Stack stack = Stack::TAKEN;
  if (is_of_parent() || !stack_.compare_exchange_strong(stack, Stack::LOOKED_AFTER)) {
    return stack != Stack::LOOKED_AFTER;
  }
  bool const sleeps_for_ever =
      state_.load(std::memory_order_relaxed) == TERMINATED && is_sanitized();
  bool const is_caller = pthread_equal(thread_, pthread_self()) != 0; // in its last steps
  if (sleeps_for_ever || is_caller) {
    pthread_detach(thread_);
  } else if (pthread_tryjoin_np(thread_, nullptr) == EBUSY) {
    stack_ = Stack::TAKEN;
    return false;
  }
  stack_ = Stack::GIVEN_BACK;
  return true;
}

void Thread::release_gone() noexcept {
  Thread *thread = gone.exchange(nullptr, std::memory_order_acquire);
  while (thread != nullptr) {
    Thread *const next = thread->next_;
    thread->wait(INFINITE);
    delete thread;
    thread = next;
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
  if (security != nullptr || routine == nullptr || flags != 0) {
    errno = EINVAL;
    return 0;
  }
  std::unique_ptr<Ostrel::Thread> thread(new (std::nothrow) Ostrel::Thread(routine, argument));
  if (thread == nullptr) {
    errno = ENOMEM;
    return 0;
  }
  DWORD const started = thread->start(stack_size);
  if (started == 0) {
    return 0;
  }
  if (id != nullptr) {
    *id = started;
  }
  return reinterpret_cast<std::uintptr_t>(thread.release()->handle());
}

BOOL TerminateThread(HANDLE thread, DWORD /*exit_code*/) {
  Ostrel::Handle *const object =
      Ostrel::Handle::is_mutex(thread) ? nullptr : Ostrel::Handle::of(thread);
  return object == nullptr ? Ostrel::fail(ERROR_INVALID_HANDLE) : object->terminate();
}
