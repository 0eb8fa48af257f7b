// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/winapi/shareable_lock.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace Ostrel;

TEST(ShareableLock, IsHadAloneAlthoughOthersShareItWithoutPause) {
  ShareableLock lock;
  int turns = 0; // guarded by the lock
  std::atomic<bool> is_done{false};
  in_threads(5, [&](int index) {
    while (index > 0 && !is_done) {
      lock.lock_shared();
      EXPECT_GE(turns, 0);
      std::this_thread::yield();
      lock.unlock();
    }
    for (int i = 0; index == 0 && i < 20; ++i) {
      ASSERT_TRUE(lock.lock(10000));
      turns = -1;
      std::this_thread::yield();
      turns = i;
      lock.unlock();
    }
    is_done = is_done || index == 0;
  });
}

TEST(ShareableLock, WhoGivesUpLeavesItToTheOthers) {
  ShareableLock lock;
  lock.lock_shared();
  EXPECT_FALSE(lock.lock(1));
  in_threads(2, [&](int) {
    lock.lock_shared();
    lock.unlock();
  });
  lock.unlock();
  EXPECT_TRUE(lock.lock(0));
  EXPECT_FALSE(lock.lock(1));
  lock.unlock();
}
