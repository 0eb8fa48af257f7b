// SPDX-License-Identifier: Apache-2.0
// What many waiters and signallers come to is for the torture.
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "tests/platform/Mutexes.hpp"

#include <atomic>
#include <climits>

using namespace Ostrel;

namespace {

std::unique_ptr<IConditionVariable> make_condition() {
  return std::unique_ptr<IConditionVariable>(Platform::create_condition_variable());
}

// A thread that waits.
class Waiter {
public:
  explicit Waiter(IConditionVariable &condition, unsigned long timeout_ms = OVRA_INFINITE)
      : thread_([&condition, timeout_ms, this] {
          condition.lock_mutex();
          is_there_ = true;
          is_released_ = condition.wait(timeout_ms, false);
          condition.unlock_mutex();
        }) {
    while (!is_there_) {
      std::this_thread::yield();
    }
    // The mutex is free when the other waits.
    AcquirableLock const until_it_waits(condition);
  }

  bool is_released() {
    thread_.join();
    return is_released_;
  }

private:
  std::atomic<bool> is_there_{false};
  bool is_released_ = false;
  std::thread thread_;
};

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
    EXPECT_TRUE(waiter.is_released());
  }
}

TEST(ConditionVariable, SignalReleasesTheFirstAndBroadcastAll) {
  auto const condition = make_condition();
  Waiter first(*condition), second(*condition), third(*condition);
  EXPECT_TRUE(condition->signal());
  EXPECT_TRUE(first.is_released()) << "the one that has waited longest";
  EXPECT_TRUE(condition->broadcast());
  EXPECT_TRUE(second.is_released());
  EXPECT_TRUE(third.is_released());
}

TEST(ConditionVariable, ComesBackWithAMutexWhoseOwnerDied) {
  auto const condition = make_condition();
  Waiter waiter(*condition);
  in_other_thread([&] {
    condition->lock_mutex();
    condition->signal();
  });
  EXPECT_TRUE(waiter.is_released());
  EXPECT_TRUE(condition->lock_mutex()) << "the waiter held it, and gave it back";
  EXPECT_TRUE(condition->unlock_mutex());
}
