// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/platform/Mutexes.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/System.hpp"

#include <chrono>

using namespace Ostrel;

TEST(Mutex, IsRecursiveAndOwnedByAThread) {
  // Mutexes with and without a name.
  std::string const name = unique("recursive");
  for (bool const is_named : {false, true}) {
    SCOPED_TRACE(is_named);
    auto const mutex = is_named ? open_mutex(name, /*open_existing=*/false) : make_mutex();
    ASSERT_NE(mutex, nullptr);
    EXPECT_FALSE(mutex->is_acquired());
    EXPECT_FALSE(mutex->release());
    EXPECT_TRUE(mutex->acquire() && mutex->acquire() && mutex->acquire());
    EXPECT_TRUE(mutex->is_acquired());
    in_other_thread([&] { EXPECT_FALSE(mutex->release()); });
    EXPECT_FALSE(mutex->is_acquired());

    Event waiting;
    std::thread waiter([&] {
      waiting.set_value();
      EXPECT_TRUE(mutex->acquire());
      EXPECT_TRUE(mutex->is_acquired());
      EXPECT_TRUE(mutex->release());
    });
    waiting.get_future().wait();
    EXPECT_TRUE(mutex->release() && mutex->release() && mutex->release());
    waiter.join();
    EXPECT_FALSE(mutex->release());
  }
}

TEST(Mutex, AWaitTimesOut) {
  std::string const name = unique("waited for");
  for (char const *kind : {static_cast<char const *>(nullptr), name.c_str()}) {
    SCOPED_TRACE(kind == nullptr ? "without a name" : "named");
    void *const mutex = CreateMutexA(nullptr, TRUE, kind);
    in_other_thread([mutex] {
      auto const start = std::chrono::steady_clock::now();
      EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
      EXPECT_EQ(WaitForSingleObject(mutex, 20), WAIT_TIMEOUT);
      EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    });
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    EXPECT_EQ(CloseHandle(mutex), TRUE);
  }
  EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
}

TEST(Mutex, AnAbandonedMutexIsRefusedOnce) {
  std::string const name = unique("abandoned");
  for (bool const is_named : {false, true}) {
    SCOPED_TRACE(is_named);
    auto const mutex = is_named ? open_mutex(name, /*open_existing=*/false) : make_mutex();
    Event taken;
    std::thread owner([&] {
      EXPECT_TRUE(mutex->acquire() && mutex->acquire());
      taken.set_value();
    });
    taken.get_future().wait();
    EXPECT_FALSE(mutex->acquire()); // waits for the end of the owner
    EXPECT_FALSE(mutex->release());
    EXPECT_TRUE(is_taken_once(*mutex));
    owner.join();
  }
}

TEST(Mutex, DestroyedWhileHeldAffectsNoOtherMutex) {
  // Which of three mutexes, acquired in this order, is destroyed, and whether by its owner.
  for (unsigned int row = 0; row < 12; ++row) {
    std::size_t const index = row / 2 % 3;
    bool const by_owner = row % 2 == 0, are_named = row >= 6;
    SCOPED_TRACE(std::to_string(index) + (by_owner ? " by its owner" : " by another"));
    std::unique_ptr<IMutex> mutexes[3];
    for (auto &mutex : mutexes) {
      std::string const name = unique("destroyed " + std::to_string(&mutex - mutexes));
      mutex = are_named ? open_mutex(name, /*open_existing=*/false) : make_mutex();
    }
    in_other_thread([&] {
      for (auto const &mutex : mutexes) {
        mutex->acquire();
      }
      auto const destroy = [&] { mutexes[index].reset(); };
      by_owner ? destroy() : in_other_thread(destroy);
      for (auto const &mutex : mutexes) {
        EXPECT_TRUE(mutex == nullptr || mutex->release());
      }
    });
    for (auto const &mutex : mutexes) {
      EXPECT_TRUE(mutex == nullptr || mutex->acquire());
    }
  }
}

// --- Mutexes with a name ------------------------------------------------------------------------

namespace {

// Exits with 0 if the mutex of that name can be opened.
Role const open_role("mutex-open", [](Role::Arguments const &arguments) {
  return open_mutex(arguments[0], /*open_existing=*/true) != nullptr ? 0 : 1;
});

bool is_seen_by_others(std::string const &name) {
  return run_child("mutex-open", {name}).status == 0;
}

} // namespace

TEST(NamedMutex, ExistsUntilItsLastUserCloses) {
  std::vector<std::string> names = {unique("plain"), unique("a/b: %s\n\x01\xff")};
  if (!ON_WINDOWS) { // there names are short, without backslash, and not empty
    std::string const long_name = unique("../" + std::string(300, 'x'));
    names.insert(names.end(), {unique("a\\c"), long_name, long_name + "y", ""});
  }
  for (std::string const &name : names) {
    SCOPED_TRACE(name);
    EXPECT_EQ(open_mutex(name, /*open_existing=*/true), nullptr);
    auto first = open_mutex(name, /*open_existing=*/false);
    auto second = open_mutex(name, /*open_existing=*/false, /*initially_owned=*/true);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_TRUE(is_free(*first)); // it existed, so `initially_owned` is ignored
    EXPECT_TRUE(is_seen_by_others(name));
    EXPECT_FALSE(is_seen_by_others(name + "z"));
    first.reset();
    EXPECT_TRUE(is_seen_by_others(name));
    second.reset();
    EXPECT_FALSE(is_seen_by_others(name));
  }
  EXPECT_TRUE(open_mutex(unique("owned"), false, true)->release());
}

TEST(NamedMutex, IsOneMutexThroughAllItsHandles) {
  std::string const name = unique("handles");
  auto first = open_mutex(name, /*open_existing=*/false);
  auto const second = open_mutex(name, /*open_existing=*/true);
  EXPECT_TRUE(first->acquire() && second->acquire());
  EXPECT_TRUE(first->release());
  EXPECT_TRUE(second->release());
  EXPECT_TRUE(is_free(*second));

  // Closed while held: the owner keeps it through the other handle.
  EXPECT_TRUE(first->acquire());
  first.reset();
  EXPECT_TRUE(second->release());
  EXPECT_FALSE(second->release());
}

TEST(NamedMutex, RefusesUnsupportedArguments) {
  struct {
    char const *name;
    bool open_existing, has_security;
  } const cases[] = {{nullptr, true, false}, {nullptr, false, true}, {"refused", false, true}};
  for (auto const &c : cases) {
    if (ON_WINDOWS && c.has_security) {
      continue; // supported there
    }
    int security = 0;
    unsigned long result = RESULT_SUCCESS;
    Win32Mutex mutex(false, c.name, c.open_existing, c.has_security ? &security : nullptr, &result);
    EXPECT_EQ(result, RESULT_SYSTEM_ERROR);
    EXPECT_FALSE(mutex.acquire() || mutex.release() || mutex.is_acquired());
  }
}
