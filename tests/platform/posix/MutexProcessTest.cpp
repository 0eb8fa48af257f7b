// SPDX-License-Identifier: Apache-2.0
// Mutexes in forked processes and in the file system, and what else a fork divides. For processes
// that are killed inside a mutex there is a torture.
#include "core/base/platform/IThread.hpp"
#include "tests/platform/Mutexes.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <csignal>
#include <filesystem>
#include <sstream>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

// Runs `work` in a copy of this process, which ends without any clean-up: by itself or by a signal.
void in_forked_child(std::function<void()> const &work, int signal = 0) {
  pid_t const child = fork();
  if (child == 0) {
    alarm(60); // rather than wait for a thread that is not there
    work();
    raise(signal);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), -signal);
}

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

} // namespace

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
  in_forked_child([&] {
    EXPECT_TRUE(mine->release() && mine->acquire() && mine->release());
    theirs[2].reset(); // while it looks taken
    for (std::size_t i : {0U, 1U}) {
      EXPECT_FALSE(theirs[i]->acquire());
      EXPECT_TRUE(is_taken_once(*theirs[i]));
      theirs[i].reset();
    }
    // Taking one looks at the list of those that are held: nothing of theirs is in it.
    EXPECT_TRUE(mine->acquire() && mine->release());
  });
  EXPECT_TRUE(mine->release());
  done.set_value();
  other.join();
  EXPECT_TRUE(is_free(*theirs[0]));
}

TEST(ConditionVariable, ASignalInAChildReachesTheChildsOwnWaiter) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer lets no copy of a process start a thread";
#endif
  auto const condition = make_condition();
  auto parents = start_waiter(*condition);
  in_forked_child([&condition] {
    auto own = start_waiter(*condition);
    EXPECT_TRUE(condition->signal());
    EXPECT_TRUE(own.get());
  });
  EXPECT_TRUE(condition->signal());
  EXPECT_TRUE(parents.get());
}

TEST(Thread, ThatForkedLivesOnInTheChild) {
  static std::unique_ptr<IThread> thread;
  static Event is_started;
  thread.reset(Platform::create_thread(
      [](void *) -> unsigned int {
        is_started.get_future().wait();
        in_forked_child([] {
          EXPECT_FALSE(thread->wait_for_exit(0));
          thread.reset();
        });
        return 0;
      },
      nullptr, false));
  thread->start();
  is_started.set_value();
  EXPECT_TRUE(thread->wait_for_exit(OVRA_INFINITE));
  thread.reset();
}

// Waits at the end of the process: in the child that is that of the thread itself.
struct WaitingAtEnd {
  ~WaitingAtEnd() {
    if (thread != nullptr) {
      alarm(20);
      thread->wait_for_exit(OVRA_INFINITE);
    }
  }
  std::unique_ptr<IThread> thread;
} waiting_at_end;

Role const fork_in_thread("fork-in-thread", [](Role::Arguments const &) {
  static pid_t child = -1;
  auto const routine = [](void *) -> unsigned int {
    child = fork();
    return 0;
  };
  waiting_at_end.thread.reset(Platform::create_thread(routine, nullptr, false));
  waiting_at_end.thread->start();
  waiting_at_end.thread->wait_for_exit(OVRA_INFINITE);
  int status = 0;
  return waitpid(child, &status, 0) == child ? status : 1;
});

TEST(Thread, IsWaitedForAtItsOwnEndInAChild) {
  EXPECT_EQ(run_child("fork-in-thread").status, 0);
}

TEST(NamedMutex, OwnedAndClosedIsOwnedWhenOpenedAgain) {
  std::string const name = unique("opened again");
  auto mutex = open_mutex(name, /*open_existing=*/false);
  in_forked_child([&] {
    EXPECT_TRUE(mutex->acquire());
    mutex.reset(); // the parent still uses it
    mutex = open_mutex(name, /*open_existing=*/true);
    ASSERT_NE(mutex, nullptr);
    EXPECT_TRUE(mutex->acquire() && mutex->release() && mutex->release());
    EXPECT_FALSE(mutex->release());
  });
  EXPECT_TRUE(is_free(*mutex));
}

TEST(NamedMutex, LeavesNothingBehind) {
  std::string const name = unique("left behind");
  mode_t const mask = umask(0777);
  auto mutex = open_mutex(name, /*open_existing=*/false);
  umask(mask);
  EXPECT_EQ(files_of(name), "600 ");
  in_other_thread([&] { EXPECT_TRUE(mutex->acquire()); });
  in_forked_child([&] { EXPECT_TRUE(!mutex->acquire() && mutex->acquire()); });
  EXPECT_FALSE(mutex->acquire()); // the child ended inside
  in_forked_child([&] { EXPECT_TRUE(is_taken_once(*mutex)); });
  EXPECT_TRUE(mutex->acquire() && mutex->release());
  mutex.reset();
  EXPECT_EQ(files_of(name), "");

  in_forked_child([&] { mutex = open_mutex(name, /*open_existing=*/false); }, SIGKILL);
  for (int i = 0; i < 64; ++i) {
    open_mutex(unique("other"), /*open_existing=*/false);
  }
  EXPECT_EQ(files_of(name), "");
}
