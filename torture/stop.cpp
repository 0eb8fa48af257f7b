// SPDX-License-Identifier: Apache-2.0
// Threads are ended by force in many states. After each, the other threads use what the ended
// thread may have held: a lock that it left behind would make them hang or fail.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/System.hpp"
#include "torture/support/Torture.hpp"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned long LONG_MS = 20000;
constexpr unsigned int HANG_S = 60;
constexpr unsigned int FOR_A_MEAN = 100; // times, needed to judge lost memory

using Thread = std::unique_ptr<IThread>;

Thread make_thread(IThread::Routine routine, void *argument = nullptr) {
  return Thread(Platform::create_thread(routine, argument, false));
}

// --- The states of the threads ----------------------------------------------------------------

struct Surroundings {
  std::unique_ptr<IMutex> mutex{Platform::create_mutex(true)}; // held by the main thread
  std::unique_ptr<IMutex> named;                               // held by another process
  std::mutex program_mutex;
  std::unique_ptr<IConditionVariable> condition{Platform::create_condition_variable()};
  Thread idle = make_thread([](void *) -> unsigned int {
    for (;;) {
      pause();
    }
  });
  std::array<int, 2> pipe = {};
  std::FILE *stream = nullptr; // of the pipe
  int terminal = -1;
};

Surroundings *around = nullptr; // lives as long as the process
std::atomic<bool> is_ready{false};

bool load_library() {
  ISharedLibrary *const library = Platform::create_shared_library();
  library->set_name("libresolv.so.2"); // part of the C library, and not needed here
  bool const is_loaded = library->load() == RESULT_SUCCESS;
  library->remove_ref();
  return is_loaded;
}

void log() {
  LoggingCategory::get_instance("torture.stop").warn("%d", 1);
}

// The memory that a termination may leak, in bytes: of a thread that owns nothing, and of one for
// which the C library keeps freed blocks.
constexpr long NOTHING = 1024;
constexpr long BLOCKS = 8192;

int compare_without_end(void const * /*unused*/, void const * /*unused*/) {
  for (;;) {
  }
}

// Between the calls of a loop, so that the signal often finds the thread outside of them.
void compute() {
  static std::atomic<unsigned int> work{0};
  for (int i = 0; i < 1000; ++i) {
    ++work;
  }
}

struct State {
  char const *name;
  long most_lost;
  void (*step)(); // repeated
};

constexpr State STATES[] = {
    {"computes", NOTHING, compute},
    {"allocates", BLOCKS,
     [] {
       void *volatile const block = std::malloc(1000);
       std::free(block);
     }},
    {"logs and computes", NOTHING,
     [] {
       log();
       compute();
     }},
    {"sleeps", NOTHING, [] { sleep(1000); }},
    {"sleeps in the library", NOTHING, [] { Platform::millisecond_sleep(1000000); }},
    {"reads a pipe", NOTHING,
     [] {
       char byte = 0;
       [[maybe_unused]] ssize_t const count = read(around->pipe[0], &byte, 1);
     }},
    {"reads the terminal", NOTHING, [] { Platform::get_char(); }},
    {"waits in poll", NOTHING, [] { poll(nullptr, 0, -1); }},
    {"waits for a mutex", NOTHING, [] { around->mutex->acquire(); }},
    {"waits for a mutex of another process", NOTHING, [] { around->named->acquire(); }},
    {"waits for a thread", NOTHING, [] { around->idle->wait_for_exit(OVRA_INFINITE); }},
    {"waits for a condition", NOTHING, [] { around->condition->wait(OVRA_INFINITE, true); }},
    {"waits for a condition, again and again", NOTHING,
     [] {
       around->condition->wait(0, true);
       compute();
     }},
};

// A thread in one of these states is not ended, and no other thread is affected.
constexpr State LASTING_STATES[] = {
    {"computes with all signals blocked", NOTHING,
     [] {
       sigset_t all;
       sigfillset(&all);
       pthread_sigmask(SIG_SETMASK, &all, nullptr);
     }},
    {"computes in a callback of the C library", NOTHING,
     [] {
       std::array<int, 64> numbers = {};
       qsort(numbers.data(), numbers.size(), sizeof(int), compare_without_end);
     }},
    {"reads a stream", NOTHING, [] { std::fgetc(around->stream); }},
    {"waits for a mutex of the program", NOTHING, [] { around->program_mutex.lock(); }},
};

unsigned int repeat(void *state) {
  is_ready = true;
  for (;;) {
    static_cast<State const *>(state)->step();
  }
}

// --- The other threads afterwards -------------------------------------------------------------

void fault(char const *state, char const *what) {
  std::printf("%s: %s\n", state, what);
  std::fflush(stdout);
}

// A thread that waits for a signal, which must not be lost to an ended thread.
unsigned int wait_for_signal(void *is_waiting) {
  IConditionVariable &condition = *around->condition;
  while (!condition.lock_mutex()) { // refused once if the owner was terminated
  }
  *static_cast<std::atomic<bool> *>(is_waiting) = true;
  bool const is_released = condition.wait(LONG_MS, false);
  condition.unlock_mutex();
  if (!is_released) {
    fault("afterwards", "a signal is lost");
  }
  return 0;
}

void use_everything(char const *state) {
  std::free(std::malloc(5000));
  log();
  if (!load_library()) {
    fault(state, "no library can be loaded afterwards");
  }
  termios mode = {};
  tcgetattr(around->terminal, &mode);
  if ((mode.c_lflag & ICANON) == 0) {
    fault(state, "the terminal is left without line editing");
  }
  std::atomic<bool> is_waiting{false};
  Thread const waiter = make_thread(wait_for_signal, &is_waiting);
  if (!waiter->start()) {
    fault(state, "no thread can be started afterwards");
    return;
  }
  while (!is_waiting) {
    sched_yield();
  }
  while (!around->condition->lock_mutex()) {
  }
  around->condition->signal();
  around->condition->unlock_mutex();
  if (!waiter->wait_for_exit(LONG_MS)) {
    fault(state, "a thread does not end afterwards");
  }
}

long resident_bytes() {
  long size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

Thread start_in(State const &state) {
  is_ready = false;
  Thread thread = make_thread(repeat, const_cast<State *>(&state));
  thread->start();
  while (!is_ready) {
    sched_yield();
  }
  return thread;
}

// Terminates a thread in that state, `times` times.
void stop_in(State const &state, unsigned int times) {
  static std::minstd_rand random(1); // the same in each run
  for (unsigned int i = 0; i < times; ++i) {
    alarm(HANG_S);
    Thread const thread = start_in(state);
    if (i % 2 == 0) {
      usleep(static_cast<useconds_t>(random() % 200));
    }
    if (!thread->stop()) {
      fault(state.name, "cannot be terminated");
    }
    if (!thread->wait_for_exit(LONG_MS)) {
      fault(state.name, "does not end");
      std::_Exit(1);
    }
    use_everything(state.name);
  }
}

// The thread runs until the end of the process.
void fail_to_stop_in(State const &state) {
  alarm(HANG_S);
  Thread const thread = start_in(state);
  if (!thread->stop() || thread->wait_for_exit(0)) {
    fault(state.name, "is ended although other threads may need what it holds");
  }
  use_everything(state.name);
}

// Opens a mutex that another process owns until this process ends.
bool make_named_mutex() {
  std::string const name = "torture stop " + std::to_string(getpid());
  std::array<int, 2> owned = {};
  if (pipe(owned.data()) != 0) {
    return false;
  }
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Win32Mutex const mutex(true, name.c_str(), false, nullptr, nullptr);
    [[maybe_unused]] ssize_t const written = write(owned[1], "x", 1);
    for (;;) {
      pause();
    }
  }
  char byte = 0;
  unsigned long result = RESULT_FAILURE;
  bool const is_owned = read(owned[0], &byte, 1) == 1;
  around->named = std::make_unique<Win32Mutex>(false, name.c_str(), true, nullptr, &result);
  return is_owned && result == RESULT_SUCCESS;
}

// Makes a pseudo-terminal the controlling terminal of this process.
bool make_terminal() {
  int const master = posix_openpt(O_RDWR | O_NOCTTY);
  if (setsid() == -1 || grantpt(master) != 0 || unlockpt(master) != 0) {
    return false;
  }
  around->terminal = open(ptsname(master), O_RDWR);
  return around->terminal != -1 && ioctl(around->terminal, TIOCSCTTY, 0) == 0;
}

// Prints the faults to standard output and the current state to standard error.
Role const stop_role("stop", [](Role::Arguments const &arguments) {
  auto const times = static_cast<unsigned int>(std::stoul(arguments[0]));
  around = new Surroundings;
  if (!make_named_mutex()) {
    return 2;
  }
  LoggingCategory::get_instance("torture").set_logging_output(new FileLoggingOutput("/dev/null"));
  around->mutex->acquire();
  around->program_mutex.lock();
  if (pipe(around->pipe.data()) != 0 || !make_terminal() || !around->idle->start()) {
    return 2;
  }
  around->stream = fdopen(around->pipe[0], "r");
  for (State const &state : STATES) {
    std::fprintf(stderr, "%s\n", state.name);
    stop_in(state, 1 + times / 10);
    long const before = resident_bytes();
    stop_in(state, times);
    long const lost = (resident_bytes() - before) / static_cast<long>(times);
    std::fprintf(stderr, "  %ld bytes are lost each time\n", lost);
    if (times >= FOR_A_MEAN && lost > state.most_lost) {
      fault(state.name, "memory is lost");
    }
  }
  for (State const &state : LASTING_STATES) {
    std::fprintf(stderr, "%s\n", state.name);
    fail_to_stop_in(state);
  }
  std::_Exit(0);
});

} // namespace

int torture() {
  Torture torture("A terminated thread affects no other thread");
  if (!CAN_END_THREADS) {
    return torture.row("nothing: no thread can be ended here");
  }
  unsigned int const times = rounds(1000);
  ChildResult const child = run_child("stop", {std::to_string(times)});
  std::istringstream faults(child.out);
  for (std::string line; std::getline(faults, line);) {
    torture.fault("%s", line.c_str());
  }
  if (child.status != 0) {
    torture.fault("status %d after:\n%s", child.status, child.err.c_str());
  }
  return torture.row(
      "%u threads stopped in each of %zu states, and one that cannot end yet in each of "
      "%zu: all others go on%s",
      times, std::size(STATES), std::size(LASTING_STATES),
      times >= FOR_A_MEAN ? "" : "; too few to judge what memory is lost");
}
