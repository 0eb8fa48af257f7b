// SPDX-License-Identifier: Apache-2.0
// Threads are terminated in every state in which one can be, and after each of them the process
// does what would hang, or fail, if something had ended with the thread that others need.
#include "core/base/config/XmlConfigSource.hpp"
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
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <array>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned long LONG_MS = 20000;
constexpr unsigned int HANG_S = 60;
constexpr unsigned int FOR_A_MEAN = 100; // times, from which on lost memory is judged

using Thread = std::unique_ptr<IThread>;

Thread make_thread(IThread::Routine routine, void *argument = nullptr) {
  return Thread(Platform::create_thread(routine, argument, false));
}

// --- What the threads are doing ---------------------------------------------------------------

struct Surroundings {
  std::unique_ptr<IMutex> mutex{
      Platform::create_mutex(true)}; // the main thread holds what can be held
  Win32Mutex named{true, ("torture stop " + std::to_string(getpid())).c_str(), false, nullptr,
                   nullptr};
  std::mutex program_mutex;
  std::unique_ptr<IConditionVariable> condition{Platform::create_condition_variable()};
  std::mutex program_condition_mutex;
  std::condition_variable program_condition;
  sem_t program_semaphore = {};
  pthread_spinlock_t program_spin = {};
  std::FILE *nowhere = std::fopen("/dev/null", "w");
  Thread idle = make_thread([](void *) -> unsigned int {
    for (;;) {
      pause();
    }
  });
  std::array<int, 2> pipe = {};
  int terminal = -1;
  XmlConfigSource source;
};

Surroundings *around = nullptr; // lives as long as the process
std::atomic<bool> is_there{false};

bool load_library() {
  ISharedLibrary *const library = Platform::create_shared_library();
  library->set_name("libresolv.so.2"); // part of the C library, and needed by nobody here
  bool const is_loaded = library->load() == RESULT_SUCCESS;
  library->remove_ref();
  return is_loaded;
}

void log() {
  LoggingCategory::get_instance("torture.stop").warn("%d", 1);
}

void load_settings() {
  around->source.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr);
}

// What a termination may take with it, in bytes: of a thread that owns nothing, of one for which
// the C library keeps freed blocks, of one that owns a thread.
constexpr long NOTHING = 1024;
constexpr long BLOCKS = 8192;
constexpr long A_THREAD = 16384;

int compare_without_end(void const * /*unused*/, void const * /*unused*/) {
  for (;;) {
  }
}

struct State {
  char const *name;
  long most_lost;
  void (*step)(); // done over and over
};

constexpr State STATES[] = {
    {"computes", NOTHING,
     [] {
       static std::atomic<unsigned int> work{0};
       ++work;
     }},
    {"allocates", BLOCKS,
     [] {
       void *volatile const block = std::malloc(1000);
       std::free(block);
     }},
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
    {"throws", BLOCKS,
     [] {
       try {
         throw std::runtime_error("thrown");
       } catch (std::runtime_error const &) { // and goes on
       }
     }},
    {"prints", NOTHING, [] { std::fprintf(around->nowhere, "%d", 1); }},
    {"logs", NOTHING, log},
    {"logs through a new category", BLOCKS,
     [] {
       static std::atomic<unsigned int> number{0};
       std::string const name = "torture.stop." + std::to_string(number++ % 1000);
       LoggingCategory::get_instance(name.c_str()).warn("new");
     }},
    {"loads settings", BLOCKS, load_settings},
    {"loads a library", BLOCKS, [] { load_library(); }},
    {"sleeps", NOTHING, [] { sleep(1000); }},
    {"sleeps in the library", NOTHING, [] { Platform::millisecond_sleep(1000000); }},
    {"reads a pipe", NOTHING,
     [] {
       char byte = 0;
       [[maybe_unused]] ssize_t const count = read(around->pipe[0], &byte, 1);
     }},
    {"reads the terminal", NOTHING, [] { Platform::get_char(); }},
    {"waits for a mutex", NOTHING, [] { around->mutex->acquire(); }},
    {"waits for a mutex with a name", NOTHING, [] { around->named.acquire(); }},
    {"waits for a mutex of the program", NOTHING, [] { around->program_mutex.lock(); }},
    {"waits for a semaphore of the program", NOTHING, [] { sem_wait(&around->program_semaphore); }},
    {"spins for a lock of the program", NOTHING, [] { pthread_spin_lock(&around->program_spin); }},
    {"waits for a thread", NOTHING, [] { around->idle->wait_for_exit(OVRA_INFINITE); }},
    {"waits for a condition", NOTHING, [] { around->condition->wait(OVRA_INFINITE, true); }},
    {"waits for a condition, again and again", NOTHING, [] { around->condition->wait(0, true); }},
    {"waits for a condition of the program", NOTHING,
     [] {
       std::unique_lock<std::mutex> lock(around->program_condition_mutex);
       around->program_condition.wait(lock);
     }},
    {"starts threads", A_THREAD,
     [] {
       Thread const thread = make_thread([](void *) { return 0U; });
       thread->start();
       thread->wait_for_exit(OVRA_INFINITE);
     }},
};

unsigned int repeat(void *state) {
  is_there = true;
  for (;;) {
    static_cast<State const *>(state)->step();
  }
}

// --- What the others do afterwards ------------------------------------------------------------

void fault(char const *state, char const *what) {
  std::printf("%s: %s\n", state, what);
  std::fflush(stdout);
}

// A thread that is released by a signal: what was meant for it did not go to the one that is gone.
unsigned int wait_for_signal(void *is_waiting) {
  IConditionVariable &condition = *around->condition;
  while (!condition.lock_mutex()) { // refused once when the owner was terminated
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

// Terminates a thread of that state so many times.
void stop_in(State const &state, unsigned int times) {
  static std::minstd_rand random(1); // the same every time
  for (unsigned int i = 0; i < times; ++i) {
    alarm(HANG_S);
    is_there = false;
    Thread const thread = make_thread(repeat, const_cast<State *>(&state));
    thread->start();
    while (!is_there) {
      sched_yield();
    }
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

// Makes a terminal the controlling one of this process.
bool make_terminal() {
  int const master = posix_openpt(O_RDWR | O_NOCTTY);
  if (setsid() == -1 || grantpt(master) != 0 || unlockpt(master) != 0) {
    return false;
  }
  around->terminal = open(ptsname(master), O_RDWR);
  return around->terminal != -1 && ioctl(around->terminal, TIOCSCTTY, 0) == 0;
}

// Standard output gets the faults, standard error the state that is being tried.
Role const stop_role("stop", [](Role::Arguments const &arguments) {
  auto const times = static_cast<unsigned int>(std::stoul(arguments[0]));
  around = new Surroundings;
  around->source.set_search_path(arguments[1].c_str());
  LoggingCategory::get_instance("torture").set_logging_output(new FileLoggingOutput("/dev/null"));
  around->mutex->acquire();
  around->program_mutex.lock();
  sem_init(&around->program_semaphore, 0, 0);
  pthread_spin_init(&around->program_spin, PTHREAD_PROCESS_PRIVATE);
  pthread_spin_lock(&around->program_spin);
  if (pipe(around->pipe.data()) != 0 || !make_terminal() || !around->idle->start()) {
    return 2;
  }
  // The C library signals all threads for it, and waits for the answer of each.
  std::thread([] {
    for (;;) {
      [[maybe_unused]] int const result = setuid(getuid());
      usleep(5000);
    }
  }).detach();
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
  std::_Exit(0);
});

} // namespace

int torture() {
  Torture torture("A terminated thread takes nobody with it");
  TemporaryDirectory const directory;
  write_file(directory.path("user-config.xml"), "<UserConfig><Key Name='1'/></UserConfig>");
  unsigned int const times = rounds(1000);
  ChildResult const child = run_child("stop", {std::to_string(times), directory.path()});
  std::istringstream faults(child.out);
  for (std::string line; std::getline(faults, line);) {
    torture.fault("%s", line.c_str());
  }
  if (child.status != 0) {
    torture.fault("status %d after:\n%s", child.status, child.err.c_str());
  }
  return torture.row("%u threads stopped in each of %zu states, all others go on%s", times,
                     std::size(STATES),
                     times >= FOR_A_MEAN ? "" : "; too few to judge what memory is lost");
}
