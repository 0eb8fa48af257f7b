// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ObjectImpl.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <sstream>
#include <string>
#include <thread>

using namespace Ostrel;

namespace {

constexpr ObjectImpl::ThreadSafety MODES[] = {ObjectImpl::SAFETY_NONE, ObjectImpl::SAFETY_GLOBAL,
                                              ObjectImpl::SAFETY_PER_OBJECT};

class Thing : public ObjectImpl {
public:
  explicit Thing(int *deleted, ThreadSafety mode = SAFETY_DEFAULT)
      : ObjectImpl(mode), deleted_(deleted) {}
  using ObjectImpl::maybe_lock;
  using ObjectImpl::maybe_unlock;

private:
  // Uses the count in the destructor, as the destructor of a member may do.
  ~Thing() override { *deleted_ += remove_ref() == 0 && ref_count() == 0 ? 1 : 100; }

  int *deleted_;
};

TEST(Object, IsCountedAndDeletedInEveryMode) {
  for (ObjectImpl::ThreadSafety mode : MODES) {
    SCOPED_TRACE(mode);
    int deleted = 0;
    auto *const thing = new Thing(&deleted, mode);
    void *found = &deleted;
    EXPECT_EQ(thing->get_thread_safety(), mode);
    EXPECT_EQ(thing->ref_count(), 1U);
    EXPECT_EQ(thing->add_ref(), 2U);
    EXPECT_TRUE(thing->maybe_lock() && thing->maybe_lock());
    EXPECT_EQ(thing->add_ref(), 3U);
    EXPECT_EQ(thing->remove_ref(), 2U);
    EXPECT_TRUE(thing->maybe_unlock() && thing->maybe_unlock());
    EXPECT_EQ(thing->maybe_unlock(), mode == ObjectImpl::SAFETY_NONE);
    EXPECT_EQ(thing->obtain_interface(1, "x", &found), RESULT_NOT_IMPLEMENTED);
    EXPECT_EQ(found, &deleted);
    EXPECT_EQ(thing->remove_ref(), 1U);
    EXPECT_EQ(deleted, 0);
    EXPECT_EQ(thing->remove_ref(), 0U);
    EXPECT_EQ(deleted, 1);
  }
}

TEST(Object, DefaultModeIsForLaterObjectsAndPrintIsHexadecimal) {
  int deleted = 0;
  auto *const before = new Thing(&deleted);
  ObjectImpl::ThreadSafety const first = ObjectImpl::_default_thread_safety;
  EXPECT_EQ(first, ObjectImpl::SAFETY_NONE);
  ObjectImpl::_default_thread_safety = ObjectImpl::SAFETY_GLOBAL;
  auto *const after = new Thing(&deleted);
  ObjectImpl::_default_thread_safety = ObjectImpl::SAFETY_DEFAULT;
  auto *const last = new Thing(&deleted);
  EXPECT_EQ(last->get_thread_safety(), ObjectImpl::SAFETY_NONE);
  last->remove_ref();
  ObjectImpl::set_default_thread_safety(ObjectImpl::SAFETY_DEFAULT);
  EXPECT_EQ(ObjectImpl::get_default_thread_safety(), ObjectImpl::SAFETY_NONE);
  EXPECT_EQ(before->get_thread_safety(), ObjectImpl::SAFETY_NONE);
  EXPECT_EQ(after->get_thread_safety(), ObjectImpl::SAFETY_GLOBAL);
  std::ostringstream text, expected;
  before->print(text);
  text << 255;
  expected << "{IObject " << static_cast<IObject *>(before) << "}ff";
  EXPECT_EQ(text.str(), expected.str());
  before->remove_ref();
  after->remove_ref();
}

// A thread that calls remove_ref under the lock is no longer an owner when it releases the lock.
TEST(Object, LivesUntilItsLockIsReleased) {
  for (int i = 0; i < 500; ++i) {
    int deleted = 0;
    auto *const thing = new Thing(&deleted, ObjectImpl::SAFETY_PER_OBJECT);
    thing->add_ref();
    in_threads(2, [&](int) {
      EXPECT_TRUE(thing->maybe_lock());
      bool const is_last = thing->ref_count() == 1;
      if (!is_last) {
        thing->remove_ref();
      }
      EXPECT_TRUE(thing->maybe_unlock());
      if (is_last) {
        thing->remove_ref();
      }
    });
    EXPECT_EQ(deleted, 1);
  }
}

TEST(Object, OtherThreadsWaitForTheLock) {
  for (ObjectImpl::ThreadSafety mode : {ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}) {
    SCOPED_TRACE(mode);
    bool const is_shared = mode == ObjectImpl::SAFETY_GLOBAL;
    int deleted = 0;
    auto *const thing = new Thing(&deleted, mode);
    ASSERT_TRUE(thing->maybe_lock());
    auto *const neighbour = new Thing(&deleted, mode);
    std::promise<void> started;
    std::thread other([&] {
      EXPECT_FALSE(thing->maybe_unlock());
      EXPECT_TRUE(is_shared || neighbour->add_ref() == 2);
      started.set_value();
      EXPECT_TRUE(!is_shared || neighbour->add_ref() == 2);
      EXPECT_EQ(thing->add_ref(), 2U);
      EXPECT_TRUE(thing->maybe_lock()); // and ends without releasing it
    });
    started.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(10)); // in which it must not count
    EXPECT_EQ(neighbour->ref_count(), is_shared ? 1U : 2U);
    EXPECT_EQ(thing->ref_count(), 1U);
    EXPECT_TRUE(thing->maybe_unlock());
    other.join();
    EXPECT_EQ(thing->remove_ref(), 1U); // acquires the lock after its owner ended
    EXPECT_EQ(thing->remove_ref(), 0U);
    EXPECT_EQ(neighbour->remove_ref(), 1U);
    EXPECT_EQ(neighbour->remove_ref(), 0U);
    EXPECT_EQ(deleted, 2);
  }
}

} // namespace
