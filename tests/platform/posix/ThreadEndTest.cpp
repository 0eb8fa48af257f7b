// SPDX-License-Identifier: Apache-2.0
// Threads that are ended by force, which is unsafe on Windows. The torture ends them in more
// places, and checks the other threads.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/System.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <future>
#include <memory>

#include <pthread.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

std::atomic<bool> is_there{false};
std::atomic<int> destroyed{0};

std::unique_ptr<IThread> start(IThread::Routine routine, void *argument) {
  std::unique_ptr<IThread> thread(Platform::create_thread(routine, argument, false));
  thread->start();
  return thread;
}

// A thread that has set `is_there`.
std::unique_ptr<IThread> start_and_meet(IThread::Routine routine, void *argument) {
  is_there = false;
  auto thread = start(routine, argument);
  while (!is_there) {
    sched_yield();
  }
  return thread;
}

// An object of a thread.
struct Counted {
  ~Counted() {
    usleep(20000);
    ++destroyed;
  }
};

long mapped_pages() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages;
}

// A thread that stops itself once its owner waits for it.
struct SelfStopping {
  std::unique_ptr<IThread> thread{Platform::create_thread(run, this, false)};
  pid_t const owner = gettid();
  std::atomic<bool> is_waited_for{false}, has_gone_on{false};

  static unsigned int run(void *argument) {
    auto &self = *static_cast<SelfStopping *>(argument);
    while (!self.is_waited_for || !is_asleep(static_cast<unsigned long>(self.owner))) {
      sched_yield();
    }
    self.thread->stop();
    self.has_gone_on = true;
    return 0;
  }
};

} // namespace

TEST(Thread, HasEndedAfterItsThreadLocalsAreDestroyed) {
  destroyed = 0;
  for (bool ends_itself : {false, true}) {
    auto const thread = start(
        [](void *argument) -> unsigned int {
          thread_local Counted const counted;
          static_cast<void>(&counted);
          if (*static_cast<bool *>(argument)) {
            pthread_exit(nullptr);
          }
          return 0;
        },
        &ends_itself);
    EXPECT_FALSE(thread->wait_for_exit(5));
    EXPECT_TRUE(thread->wait_for_exit(OVRA_INFINITE));
    EXPECT_EQ(destroyed, ends_itself ? 2 : 1);
  }
}

// Its last steps are what destructors of keys do after that of the library.
TEST(Thread, IsWaitedForNoLongerThanToldInItsLastSteps) {
  static pthread_key_t key;
  static int round;
  static std::promise<void> *may_end = nullptr;
  std::promise<void> promise;
  may_end = &promise;
  round = 0;
  auto const destructor = [](void *value) {
    constexpr int LAST_ROUND = 3; // in the one after it a sanitizer ends the thread
    if (++round < LAST_ROUND) {
      pthread_setspecific(key, value);
    } else {
      may_end->get_future().wait();
    }
  };
  ASSERT_EQ(pthread_key_create(&key, destructor), 0);
  auto const thread = start(
      [](void *value) -> unsigned int { return pthread_setspecific(key, value) == 0 ? 0 : 1; },
      &round);
  EXPECT_FALSE(thread->wait_for_exit(50));
  promise.set_value();
  EXPECT_TRUE(thread->wait_for_exit(OVRA_INFINITE));
  pthread_key_delete(key);
}

TEST(Thread, IsEndedAfterACallThatHoldsAStream) {
  if (!CAN_END_THREADS) {
    GTEST_SKIP() << "no thread can be ended here";
  }
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::FILE *const stream = fdopen(ends[0], "r");
  destroyed = 0;
  long mapped = 0; // after two threads: the first may reuse a stack of the tests
  for (int round = 0; round < 4; ++round) {
    auto thread = start_and_meet(
        [](void *argument) -> unsigned int {
          Counted const here;
          is_there = true;
          std::fgetc(static_cast<std::FILE *>(argument));
          for (;;) {
          }
        },
        stream);
    auto const id = static_cast<pid_t>(thread->get_id());
    EXPECT_TRUE(thread->stop());
    thread.reset();
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    while (tgkill(getpid(), id, 0) == 0) {
      sched_yield();
    }
    EXPECT_EQ(ftrylockfile(stream), 0) << "no thread holds the stream";
    funlockfile(stream);
    mapped = round == 1 ? mapped_pages() : mapped;
  }
  EXPECT_LE(mapped_pages(), mapped) << "the stack of an earlier thread is used again";
  EXPECT_EQ(destroyed, 0) << "nothing of its stack is unwound";
  close(ends[1]);
}

TEST(Thread, CanBeStoppedWhileItIsWaitedFor) {
  if (!CAN_END_THREADS) {
    GTEST_SKIP() << "no thread can be ended here";
  }
  SelfStopping stopping;
  ASSERT_TRUE(stopping.thread->start());
  stopping.is_waited_for = true;
  EXPECT_TRUE(stopping.thread->wait_for_exit(OVRA_INFINITE));
  EXPECT_FALSE(stopping.has_gone_on);
}
