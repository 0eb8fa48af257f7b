// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

using namespace Ostrel;

namespace {

std::unique_ptr<IThread> make_thread(IThread::Routine routine, void *argument = nullptr) {
  return std::unique_ptr<IThread>(Platform::create_thread(routine, argument, false));
}

unsigned int wait_for_gate(void *gate) {
  static_cast<std::promise<void> *>(gate)->get_future().wait();
  return 0;
}

unsigned int set_value(void *promise) {
  static_cast<std::promise<void> *>(promise)->set_value();
  return 0;
}

Role const throw_role("throw-from-a-routine", [](Role::Arguments const &) {
  auto const thread = make_thread([](void *) -> unsigned int { throw std::runtime_error("out"); });
  thread->start();
  thread->wait_for_exit(OVRA_INFINITE);
  return 0;
});

} // namespace

TEST(Thread, IsStartedAndWaitedFor) {
  EXPECT_FALSE(make_thread(nullptr)->start());

  std::atomic<unsigned long> id{0};
  auto const thread = make_thread(
      [](void *argument) {
        *static_cast<std::atomic<unsigned long> *>(argument) = Platform::get_current_thread_id();
        return 0U;
      },
      &id);
  EXPECT_EQ(thread->get_id(), 0);
  EXPECT_TRUE(thread->stop());
  EXPECT_FALSE(thread->wait_for_exit(OVRA_INFINITE));
  for (int again = 0; again < 2; ++again) {
    EXPECT_TRUE(thread->start());
    EXPECT_FALSE(thread->start()) << "until it was waited for";
    EXPECT_TRUE(thread->wait_for_exit(OVRA_INFINITE));
    EXPECT_TRUE(thread->wait_for_exit(0)) << "twice";
    EXPECT_EQ(thread->get_id(), id);
  }
}

TEST(Thread, TheRoutineSeesTheThreadStarted) {
  struct Self {
    std::unique_ptr<IThread> thread;
    std::atomic<unsigned long> difference{1};
    std::atomic<bool> goes_on{false};
  };
  for (int i = 0; i < 300; ++i) {
    Self self;
    self.thread = make_thread(
        [](void *argument) -> unsigned int {
          auto &own = *static_cast<Self *>(argument);
          own.difference = own.thread->get_id() - Platform::get_current_thread_id();
          own.goes_on = CAN_END_THREADS && own.thread->stop();
          return 0;
        },
        &self);
    EXPECT_TRUE(self.thread->start());
    EXPECT_TRUE(self.thread->wait_for_exit(OVRA_INFINITE));
    EXPECT_EQ(self.difference, 0U);
    EXPECT_FALSE(self.goes_on);
  }
}

TEST(Thread, AWaitThatTimesOutForgetsTheThread) {
  std::promise<void> gate;
  auto const thread = make_thread(wait_for_gate, &gate);
  EXPECT_TRUE(thread->start());
  EXPECT_FALSE(thread->wait_for_exit(0));
  EXPECT_TRUE(thread->stop()) << "ends nothing: it does not count as running";
  EXPECT_FALSE(thread->wait_for_exit(1));
  gate.set_value();
  EXPECT_TRUE(thread->wait_for_exit(ULONG_MAX)) << "above it there is no limit either";
}

TEST(Thread, RunsOnAfterItsObjectIsDestroyed) {
  std::promise<void> done;
  unsigned long id = 0;
  {
    auto const thread = make_thread(set_value, &done);
    EXPECT_TRUE(thread->start());
    id = thread->get_id();
  }
  done.get_future().wait();
  // The thread sanitizer calls a thread that has not ended at the exit a leak.
  while (!read_file("/proc/self/task/" + std::to_string(id) + "/stat").empty()) {
    std::this_thread::yield();
  }
}

TEST(Thread, AbandonsItsMutexesWhenStopped) {
  static std::atomic<bool> is_held{false}, is_awake{false};
  std::unique_ptr<IMutex> const mutex(Platform::create_mutex(true));
  auto const thread = make_thread(
      [](void *argument) -> unsigned int {
        is_held = static_cast<IMutex *>(argument)->acquire();
        Platform::millisecond_sleep(OVRA_INFINITE); // Windows ends a thread wherever it is
        is_awake = true;
        return 0;
      },
      mutex.get());
  thread->start();
  while (!is_held) {
    std::this_thread::yield();
  }
  ASSERT_EQ(thread->stop(), CAN_END_THREADS);
  EXPECT_FALSE(is_awake);
  if (!CAN_END_THREADS) {
    return; // the thread sleeps on
  }
  EXPECT_FALSE(mutex->acquire());
  EXPECT_TRUE(mutex->acquire());
  EXPECT_TRUE(mutex->release());
}

TEST(Thread, ARoutineThatThrowsEndsTheProcess) {
  EXPECT_EQ(run_child("throw-from-a-routine").status, ABORTED);
}
