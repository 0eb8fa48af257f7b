// SPDX-License-Identifier: Apache-2.0
// Many waiters and signallers at once: see the torture.
#include "core/base/platform/IThread.hpp"
#include "tests/platform/Mutexes.hpp"
#include "tests/support/System.hpp"
#include "tests/support/Threads.hpp"

#include <climits>
#include <thread>

using namespace Ostrel;

namespace {

// A thread that has released the mutex and sleeps is in its wait. Not visible on Windows.
void wait_until_asleep(IThread const &thread) {
  while (!ON_WINDOWS && !is_asleep(thread.get_id())) {
    std::this_thread::yield();
  }
}

} // namespace

TEST(ConditionVariable, AWaitRestoresTheStateOfTheMutex) {
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
    auto waiter = start_waiter(*condition, timeout);
    EXPECT_TRUE(condition->signal());
    EXPECT_TRUE(waiter.get());
  }
}

TEST(ConditionVariable, SignalWakesTheFirstAndBroadcastAll) {
  auto const condition = make_condition();
  std::future<bool> waiters[3];
  for (auto &waiter : waiters) {
    waiter = start_waiter(*condition);
  }
  EXPECT_TRUE(condition->signal());
  EXPECT_TRUE(waiters[0].get()) << "the one that has waited longest";
  EXPECT_TRUE(condition->broadcast());
  EXPECT_TRUE(waiters[1].get());
  EXPECT_TRUE(waiters[2].get());
}

TEST(ConditionVariable, AnEndedWaiterConsumesNoSignal) {
  if (!CAN_END_THREADS) {
    GTEST_SKIP() << "no thread can be ended here";
  }
  auto const condition = make_condition();
  auto first = start_waiter(*condition);
  EXPECT_FALSE(start_waiter(*condition, 1).get());
  struct Waiting {
    IConditionVariable &condition;
    Event there;
  } waiting = {*condition, {}};
  std::unique_ptr<IThread> const ended(Platform::create_thread(
      [](void *argument) -> unsigned int {
        auto &self = *static_cast<Waiting *>(argument);
        self.condition.lock_mutex();
        self.there.set_value();
        return self.condition.wait(OVRA_INFINITE, false) ? 0 : 1;
      },
      &waiting, false));
  ended->start();
  waiting.there.get_future().wait();
  auto waiter = start_waiter(*condition);
  wait_until_asleep(*ended); // woken earlier, it would wait for the mutex below
  EXPECT_TRUE(condition->signal());
  EXPECT_TRUE(first.get());
  condition->lock_mutex(); // except on Windows, a woken waiter sleeps until the mutex is free
  EXPECT_TRUE(ON_WINDOWS || condition->signal());
  EXPECT_TRUE(ended->stop());
  EXPECT_TRUE(ended->wait_for_exit(OVRA_INFINITE));
  condition->unlock_mutex();
  EXPECT_TRUE(!ON_WINDOWS || condition->signal());
  EXPECT_TRUE(waiter.get());
}

TEST(ConditionVariable, ReacquiresAnAbandonedMutex) {
  auto const condition = make_condition();
  auto waiter = start_waiter(*condition);
  in_other_thread([&] {
    condition->lock_mutex();
    condition->signal();
  });
  EXPECT_TRUE(waiter.get());
  EXPECT_TRUE(condition->lock_mutex()) << "the waiter released it";
  EXPECT_TRUE(condition->unlock_mutex());
}
