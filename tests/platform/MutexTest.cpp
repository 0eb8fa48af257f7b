// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

using Event = std::promise<void>;

std::unique_ptr<IMutex> make_mutex() {
  return std::unique_ptr<IMutex>(Platform::create_mutex(true));
}

std::unique_ptr<IMutex> open_mutex(std::string const &name, bool open_existing,
                                   bool initially_owned = false) {
  unsigned long result = RESULT_FAILURE;
  auto mutex =
      std::make_unique<Win32Mutex>(initially_owned, name.c_str(), open_existing, nullptr, &result);
  if (result == RESULT_SUCCESS) {
    return mutex;
  }
  EXPECT_EQ(result, RESULT_SYSTEM_ERROR);
  return nullptr;
}

// A name that no other run uses.
std::string unique(std::string const &name) {
  return name + " of " + std::to_string(getpid());
}

void in_other_thread(std::function<void()> const &work) {
  std::thread(work).join();
}

// Takes what it is given and ends without giving it back.
void abandon(std::vector<IMutex *> const &mutexes) {
  in_other_thread([&mutexes] {
    for (IMutex *mutex : mutexes) {
      EXPECT_TRUE(mutex->acquire());
    }
  });
}

// Whether the mutex is free, asked by a thread that does not own it. An abandoned one becomes so.
bool is_free(IMutex &mutex) {
  bool result = false;
  in_other_thread([&] { result = (mutex.acquire() || mutex.acquire()) && mutex.release(); });
  return result;
}

// Whether this thread gets the mutex and has given it back after one release.
bool is_taken_once(IMutex &mutex) {
  return mutex.acquire() && mutex.release() && !mutex.release();
}

// Waits for the child, and gives its exit status or minus the signal that ended it.
int end_of(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Runs `work` in a copy of this process, which ends without any clean-up.
int in_forked_child(std::function<int()> const &work) {
  pid_t const child = fork();
  if (child == 0) {
    _exit(work());
  }
  return end_of(child);
}

} // namespace

TEST(Mutex, IsRecursiveAndOwnedByAThread) {
  // With a name and without one, the same.
  std::string const name = unique("recursive");
  for (bool const is_named : {false, true}) {
    SCOPED_TRACE(is_named);
    auto const mutex = is_named ? open_mutex(name, /*open_existing=*/false) : make_mutex();
    ASSERT_NE(mutex, nullptr);
    EXPECT_FALSE(mutex->is_acquired());
    EXPECT_FALSE(mutex->release());
    EXPECT_TRUE(mutex->acquire() && mutex->acquire());
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
    EXPECT_TRUE(mutex->release() && mutex->release());
    waiter.join();
    EXPECT_FALSE(mutex->release());
  }
}

TEST(Mutex, IsWaitedForNoLongerThanTold) {
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
    in_other_thread([mutex] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0); });
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    EXPECT_EQ(CloseHandle(mutex), TRUE);
  }
}

TEST(Mutex, ExcludesManyThreads) {
  auto const mutex = make_mutex();
  int counter = 0; // the thread sanitizer looks after it
  in_threads(8, [&](int) {
    for (int round = 0; round < 2000; ++round) {
      mutex->acquire();
      mutex->acquire();
      ++counter;
      mutex->release();
      mutex->release();
    }
  });
  EXPECT_EQ(counter, 8 * 2000);
}

TEST(Mutex, AbandonedIsRefusedOnceAndThenTaken) {
  std::string const name = unique("abandoned");
  for (bool const is_named : {false, true}) {
    SCOPED_TRACE(is_named);
    auto const mutex = is_named ? open_mutex(name, /*open_existing=*/false) : make_mutex();
    abandon({mutex.get(), mutex.get()});
    EXPECT_FALSE(mutex->acquire());
    EXPECT_FALSE(mutex->release());
    EXPECT_TRUE(is_taken_once(*mutex));
  }
}

TEST(Mutex, IsHeldUntilTheDestructorsOfItsOwnersKeysHaveRun) {
  auto const mutex = make_mutex();
  pthread_key_t key = 0;
  auto const at_end = [](void *held) {
    auto *const mine = static_cast<IMutex *>(held);
    EXPECT_TRUE(mine->acquire() && mine->release() && mine->release());
  };
  ASSERT_EQ(pthread_key_create(&key, at_end), 0);
  in_other_thread(
      [&] { EXPECT_TRUE(mutex->acquire() && pthread_setspecific(key, mutex.get()) == 0); });
  EXPECT_TRUE(mutex->acquire() && mutex->release());
  pthread_key_delete(key);
}

TEST(Mutex, WakesAWaiterWhenItsOwnerEnds) {
  auto const mutex = make_mutex();
  Event taken;
  std::thread owner([&] {
    mutex->acquire();
    taken.set_value();
  });
  taken.get_future().wait();
  while (!mutex->acquire()) {
  }
  owner.join();
  EXPECT_TRUE(mutex->release());
}

TEST(Mutex, DestroyedWhileHeldLeavesTheOthersAlone) {
  // Which of three mutexes, taken in turn, is destroyed, and whether by its owner.
  for (std::size_t index : {0U, 1U, 2U}) {
    for (bool const by_owner : {true, false}) {
      SCOPED_TRACE(std::to_string(index) + (by_owner ? " by its owner" : " by another"));
      std::unique_ptr<IMutex> mutexes[3] = {make_mutex(), make_mutex(), make_mutex()};
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
}

TEST(Mutex, BelongsToTheForkingThreadInTheChild) {
  auto const mine = make_mutex();
  std::unique_ptr<IMutex> theirs[] = {make_mutex(), make_mutex(), make_mutex()};
  mine->acquire();
  Event taken, done;
  std::thread other([&] {
    for (auto const &mutex : theirs) {
      mutex->acquire();
      mutex->acquire();
    }
    taken.set_value();
    done.get_future().wait();
  });
  taken.get_future().wait();
  EXPECT_EQ(in_forked_child([&] {
              alarm(60); // rather than wait for a thread that is not there
              bool is_right = mine->release() && mine->acquire() && mine->release();
              theirs[2].reset(); // while it looks taken
              for (std::size_t i : {0U, 1U}) {
                is_right = is_right && !theirs[i]->acquire() && is_taken_once(*theirs[i]);
                theirs[i].reset();
              }
              // Taking one looks at the list of those that are held: nothing of theirs is in it.
              return is_right && mine->acquire() && mine->release() ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(mine->release());
  done.set_value();
  other.join();
  EXPECT_TRUE(is_free(*theirs[0]));
}

// --- Mutexes with a name ------------------------------------------------------------------------

namespace {

// Ends with 0 when the mutex of that name can be opened.
Role const open_role("mutex-open", [](Role::Arguments const &arguments) {
  return open_mutex(arguments[0], /*open_existing=*/true) != nullptr ? 0 : 1;
});

// The permissions of the files that hold that name.
std::string files_of(std::string const &name) {
  std::ostringstream modes;
  std::string const directory = "/dev/shm/ostrel-mutexes-" + std::to_string(geteuid());
  for (auto const &entry : std::filesystem::directory_iterator(directory)) {
    if (read_file(entry.path().string()).find(name) != std::string::npos) {
      modes << std::oct << static_cast<unsigned int>(entry.status().permissions()) << ' ';
    }
  }
  return modes.str();
}

int count_mappings() {
  std::istringstream maps(read_file("/proc/self/maps"));
  int count = 0;
  for (std::string line; std::getline(maps, line);) {
    count += line.find("/ostrel-mutexes-") != std::string::npos ? 1 : 0;
  }
  return count;
}

bool is_seen_by_others(std::string const &name) {
  return run_child("mutex-open", {name}).status == 0;
}

} // namespace

TEST(NamedMutex, IsThereForAsLongAsAnybodyUsesIt) {
  std::string const names[] = {unique("plain"), unique("a/b\\c: %s\n\x01\xff"),
                               unique("../" + std::string(300, 'x')),
                               unique("../" + std::string(300, 'x')) + "y", ""};
  for (std::string const &name : names) {
    SCOPED_TRACE(name);
    EXPECT_EQ(open_mutex(name, /*open_existing=*/true), nullptr);
    auto first = open_mutex(name, /*open_existing=*/false);
    auto second = open_mutex(name, /*open_existing=*/false, /*initially_owned=*/true);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_TRUE(is_free(*first)); // it was there already, so nobody owns it
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

  // Closed while held: the owner still owns it through the other handle.
  EXPECT_TRUE(first->acquire());
  first.reset();
  EXPECT_TRUE(second->release());
  EXPECT_FALSE(second->release());
}

TEST(NamedMutex, SurvivesTheDeathOfAProcess) {
  struct {
    char const *what, *then; // `then` is what the parent meets: abandoned, free or gone
    bool is_used_here, is_held_there;
  } const cases[] = {{"owner", "abandoned", true, true},
                     {"user", "free", true, false},
                     {"last user", "gone", false, true}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.what);
    std::string const name = unique(c.what);
    auto const here = c.is_used_here ? open_mutex(name, /*open_existing=*/false) : nullptr;
    EXPECT_EQ(in_forked_child([&] {
                auto const there = open_mutex(name, /*open_existing=*/false);
                return c.is_held_there && !there->acquire() ? 1 : raise(SIGKILL);
              }),
              -SIGKILL);
    auto const met = open_mutex(name, /*open_existing=*/true);
    std::string const then = met == nullptr ? "gone" : met->acquire() ? "free" : "abandoned";
    EXPECT_EQ(then, c.then);
    auto const anew = open_mutex(name, /*open_existing=*/false);
    EXPECT_TRUE(anew->acquire() && anew->release());
  }
}

TEST(NamedMutex, OwnedAndClosedIsOwnedWhenOpenedAgain) {
  std::string const name = unique("opened again");
  auto mutex = open_mutex(name, /*open_existing=*/false, /*initially_owned=*/true);
  pid_t const user = fork(); // with the handles of this process
  if (user == 0) {
    pause();
    _exit(1);
  }
  mutex.reset();
  mutex = open_mutex(name, /*open_existing=*/true);
  ASSERT_NE(mutex, nullptr);
  EXPECT_TRUE(mutex->acquire() && mutex->release() && mutex->release());
  EXPECT_FALSE(mutex->release());
  EXPECT_TRUE(is_free(*mutex));
  kill(user, SIGKILL);
  EXPECT_EQ(end_of(user), -SIGKILL);
}

TEST(NamedMutex, LeavesNothingBehind) {
  std::string const name = unique("left behind");
  int const before = count_mappings();
  mode_t const mask = umask(0777);
  auto mutex = open_mutex(name, /*open_existing=*/false);
  umask(mask);
  EXPECT_EQ(files_of(name), "600 ");
  abandon({mutex.get()});
  EXPECT_EQ(in_forked_child([&] { return mutex->acquire() || !mutex->acquire() ? 1 : 0; }), 0);
  EXPECT_FALSE(mutex->acquire()); // the child ended inside
  EXPECT_EQ(in_forked_child([&] { return is_taken_once(*mutex) ? 0 : 1; }), 0);
  EXPECT_TRUE(mutex->acquire() && mutex->release());
  mutex.reset();
  EXPECT_EQ(count_mappings(), before);
  EXPECT_EQ(files_of(name), "");

  in_forked_child([&] {
    auto const killed = open_mutex(name, /*open_existing=*/false);
    return raise(SIGKILL);
  });
  for (int i = 0; i < 64; ++i) {
    open_mutex(unique("other"), /*open_existing=*/false);
  }
  EXPECT_EQ(files_of(name), "");
}

TEST(NamedMutex, RefusesWhatItCannotHonour) {
  struct {
    char const *name;
    bool open_existing, has_security;
  } const cases[] = {{nullptr, true, false}, {nullptr, false, true}, {"refused", false, true}};
  for (auto const &c : cases) {
    int security = 0;
    unsigned long result = RESULT_SUCCESS;
    Win32Mutex mutex(false, c.name, c.open_existing, c.has_security ? &security : nullptr, &result);
    EXPECT_EQ(result, RESULT_SYSTEM_ERROR);
    EXPECT_FALSE(mutex.acquire() || mutex.release() || mutex.is_acquired());
  }
}
