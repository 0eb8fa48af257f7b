// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>
#include <thread>
#include <vector>

using namespace Ostrel;

namespace {

std::unique_ptr<IConditionVariable> make_condition() {
  return std::unique_ptr<IConditionVariable>(Platform::create_condition_variable());
}

// A thread that waits, once or for as often as it is told.
class Waiter {
public:
  Waiter(IConditionVariable &condition, unsigned long timeout_ms, int times = 1)
      : thread_([&condition, timeout_ms, times, this] {
          condition.lock_mutex();
          is_there_ = true;
          for (int i = 0; i < times; ++i) {
            released_ += condition.wait(timeout_ms, false) ? 1 : 0;
          }
          condition.unlock_mutex();
        }) {
    while (!is_there_) {
      std::this_thread::yield();
    }
    // The mutex is free when the other waits.
    AcquirableLock const until_it_waits(condition);
  }
  ~Waiter() { join(); }

  int join() {
    if (thread_.joinable()) {
      thread_.join();
    }
    return released_;
  }

private:
  std::atomic<bool> is_there_{false};
  int released_ = 0;
  std::thread thread_;
};

bool is_free(IConditionVariable &condition) {
  bool is_taken = false;
  in_threads(1, [&](int) { is_taken = condition.is_acquired(); });
  return !is_taken;
}

} // namespace

TEST(ConditionVariable, WaitsEndWithTheMutexAsTheyBegan) {
  auto const condition = make_condition();
  EXPECT_TRUE(condition->signal());
  EXPECT_TRUE(condition->broadcast());
  for (unsigned long const timeout : {0UL, 1UL}) {
    SCOPED_TRACE(timeout);
    EXPECT_FALSE(condition->wait(timeout, true)) << "a signal without waiters is not remembered";
    EXPECT_TRUE(is_free(*condition));
    EXPECT_TRUE(condition->acquire());
    EXPECT_FALSE(condition->wait(timeout, false));
    EXPECT_TRUE(condition->is_acquired());
    EXPECT_TRUE(condition->release());
    EXPECT_FALSE(condition->release());
  }
}

TEST(ConditionVariable, LongTimeOutsDoNotEndAtOnce) {
  for (unsigned long const timeout : {OVRA_INFINITE - 1, OVRA_INFINITE, ULONG_MAX}) {
    SCOPED_TRACE(timeout);
    auto const condition = make_condition();
    Waiter waiter(*condition, timeout);
    EXPECT_TRUE(condition->signal());
    EXPECT_EQ(waiter.join(), 1);
  }
}

TEST(ConditionVariable, BroadcastReleasesWhoIsThereAndNobodyElse) {
  auto const condition = make_condition();
  for (int round = 0; round < 50; ++round) {
    Waiter first(*condition, OVRA_INFINITE), second(*condition, OVRA_INFINITE);
    // Comes back at once to take what was meant for the others.
    Waiter thief(*condition, 10, 2);
    EXPECT_TRUE(condition->broadcast());
    EXPECT_EQ(first.join() + second.join(), 2);
    EXPECT_LE(thief.join(), 1) << "none when it gave up before";
  }
}

TEST(ConditionVariable, SignalReleasesOneAfterTheOther) {
  auto const condition = make_condition();
  Waiter first(*condition, OVRA_INFINITE), second(*condition, OVRA_INFINITE);
  EXPECT_TRUE(condition->signal());
  EXPECT_EQ(first.join(), 1) << "the one that has waited longest";
  EXPECT_TRUE(condition->signal());
  EXPECT_EQ(second.join(), 1);
}

TEST(ConditionVariable, WhoGaveUpTakesNoWakeUp) {
  auto const condition = make_condition();
  EXPECT_EQ(Waiter(*condition, 1).join(), 0);
  static std::atomic<bool> is_there{false};
  std::unique_ptr<IThread> const ended(Platform::create_thread(
      [](void *argument) -> unsigned int {
        auto &waited_for = *static_cast<IConditionVariable *>(argument);
        waited_for.lock_mutex();
        is_there = true;
        return waited_for.wait(OVRA_INFINITE, false) ? 0 : 1;
      },
      condition.get(), false));
  ended->start();
  while (!is_there) {
    std::this_thread::yield();
  }
  condition->lock_mutex();
  condition->unlock_mutex();
  Waiter waiter(*condition, OVRA_INFINITE);
  EXPECT_TRUE(ended->stop());
  EXPECT_TRUE(ended->wait_for_exit(OVRA_INFINITE));
  EXPECT_TRUE(condition->signal());
  EXPECT_EQ(waiter.join(), 1);
}

TEST(ConditionVariable, ComesBackWithAMutexWhoseOwnerDied) {
  auto const condition = make_condition();
  Waiter waiter(*condition, OVRA_INFINITE);
  in_threads(1, [&](int) {
    condition->lock_mutex();
    condition->signal();
  });
  EXPECT_EQ(waiter.join(), 1);
  EXPECT_TRUE(condition->lock_mutex()) << "the waiter held it, and gave it back";
  EXPECT_TRUE(condition->unlock_mutex());
}

TEST(ConditionVariable, LosesNoWakeUp) {
  constexpr int THREADS = 3, TURNS = 3000;
  for (bool const with_mutex : {true, false}) {
    SCOPED_TRACE(with_mutex);
    auto const condition = make_condition();
    int turn = 0;
    in_threads(THREADS, [&](int index) {
      for (int i = 0; i < TURNS; ++i) {
        condition->lock_mutex();
        while (turn % THREADS != index) {
          condition->wait(OVRA_INFINITE, false);
        }
        ++turn;
        if (with_mutex) {
          condition->broadcast();
        }
        condition->unlock_mutex();
        if (!with_mutex) {
          condition->broadcast();
        }
      }
    });
    EXPECT_EQ(turn, THREADS * TURNS);
  }
}
