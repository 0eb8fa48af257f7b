// SPDX-License-Identifier: Apache-2.0
// Threads that are ended by force, whatever they are doing. Windows does not promise that.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned long LONG_MS = 30000;

std::unique_ptr<IThread> make_thread(IThread::Routine routine, void *argument) {
  return std::unique_ptr<IThread>(Platform::create_thread(routine, argument, false));
}

std::atomic<bool> is_there{false};
std::atomic<int> unwound{0};
std::atomic<unsigned int> work{0};

// Counts what must not happen: nothing of the stack is unwound.
struct Unwinding {
  ~Unwinding() { ++unwound; }
};

IMutex *mutex_of_main = nullptr;

struct Routine {
  char const *name;
  void (*step)();
};

void block_all_signals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
  ++work;
}

// The torture has more of them.
constexpr Routine ROUTINES[] = {
    {"computes, all signals blocked", block_all_signals},
    {"waits for a mutex of the library", [] { mutex_of_main->acquire(); }},
    {"allocates",
     [] {
       void *volatile const block = std::malloc(1000);
       std::free(block);
     }},
    {"logs", [] { LoggingCategory::get_instance("a.b").warn("%s", ""); }},
    {"throws",
     [] {
       try {
         throw std::runtime_error("thrown");
       } catch (std::runtime_error const &) {
         ++work;
       }
     }},
};

unsigned int repeat(void *routine) {
  Unwinding const here;
  is_there = true;
  for (;;) {
    static_cast<Routine const *>(routine)->step();
  }
}

// What other threads do afterwards: it hangs when the one that ended had been inside.
void use_everything() {
  std::free(std::malloc(5000));
  std::printf(" ");
  LoggingCategory::get_instance("a.b.c").warn("still here");
  if (void *const library = dlopen("libm.so.6", RTLD_NOW)) {
    dlclose(library);
  }
}

int stop_each(Role::Arguments const &rounds) {
  mutex_of_main = Platform::create_mutex(true);
  mutex_of_main->acquire();
  std::atomic<bool> is_done{false};
  // The C library signals all threads for it, and waits for each of them.
  std::thread changer([&is_done] {
    while (!is_done) {
      [[maybe_unused]] int const result = setuid(getuid());
      usleep(5000);
    }
  });
  for (Routine const &routine : ROUTINES) {
    for (int round = std::stoi(rounds.front()); round > 0; --round) {
      is_there = false;
      auto const thread = make_thread(repeat, const_cast<Routine *>(&routine));
      thread->start();
      while (!is_there) {
        sched_yield();
      }
      if (!thread->stop() || !thread->wait_for_exit(LONG_MS) || unwound != 0) {
        std::printf("%s\n", routine.name);
        std::_Exit(2);
      }
      use_everything();
    }
  }
  is_done = true;
  changer.join();
  return 0;
}

Role const stop_each_role("stop-each", stop_each);

} // namespace

TEST(Thread, HasEndedWhenItsVariablesAreGone) {
  static std::atomic<int> destroyed{0};
  struct Slow {
    ~Slow() {
      usleep(20000);
      ++destroyed;
    }
  };
  destroyed = 0;
  for (bool ends_itself : {false, true}) {
    auto const thread = make_thread(
        [](void *argument) -> unsigned int {
          thread_local Slow const slow;
          static_cast<void>(&slow);
          if (*static_cast<bool *>(argument)) {
            pthread_exit(nullptr);
          }
          return 0;
        },
        &ends_itself);
    thread->start();
    EXPECT_FALSE(thread->wait_for_exit(5));
    EXPECT_TRUE(thread->wait_for_exit(OVRA_INFINITE));
    EXPECT_EQ(destroyed, ends_itself ? 2 : 1);
  }
}

TEST(Thread, IsEndedWhereverItIs) {
  ChildResult const child = run_child("stop-each", {"5"}, {{"OSTREL_LOG_OUTPUT", "/dev/null"}});
  EXPECT_EQ(child.status, 0) << child.out << child.err;
}

TEST(Thread, IsEndedAfterACallThatHoldsAStream) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe(ends.data()), 0);
  std::FILE *const stream = fdopen(ends[0], "r");
  static std::atomic<bool> is_reading{false};
  auto const thread = make_thread(
      [](void *argument) -> unsigned int {
        is_reading = true;
        for (;;) {
          std::fgetc(static_cast<std::FILE *>(argument));
          ++work;
        }
      },
      stream);
  thread->start();
  while (!is_reading) {
    sched_yield();
  }
  EXPECT_TRUE(thread->stop());
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_TRUE(thread->wait_for_exit(LONG_MS));
  EXPECT_EQ(ftrylockfile(stream), 0) << "nobody holds the stream";
  close(ends[1]);
}
