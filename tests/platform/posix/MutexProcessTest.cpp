// SPDX-License-Identifier: Apache-2.0
// Mutexes in forked processes and in the file system, and other effects of a fork. Processes that
// are killed while they hold a mutex: see the torture.
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/platform/Mutexes.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Files.hpp"

#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

// Runs `work` in a forked process that ends without clean-up: by itself or by a signal.
void in_forked_child(std::function<void()> const &work, int signal = 0) {
  pid_t const child = fork();
  if (child == 0) {
    alarm(60); // if it waits for a thread that does not exist
    work();
    raise(signal);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), -signal);
}

// Forks children that wait until this object is destroyed.
class ParentsCall {
public:
  ParentsCall() { EXPECT_EQ(pipe(ends_), 0); }
  ~ParentsCall() {
    close(ends_[0]);
    close(ends_[1]);
  }

  void fork_waiting_child() {
    if (fork() == 0) {
      char byte = 0;
      close(ends_[1]);
      _exit(static_cast<int>(read(ends_[0], &byte, 1)));
    }
  }

private:
  int ends_[2] = {};
};

std::string const DIRECTORY = "/dev/shm/ostrel-mutexes-" + std::to_string(geteuid());

// The path of the file that holds that name; empty if there is none.
std::string file_of(std::string const &name) {
  for (auto const &entry : std::filesystem::directory_iterator(DIRECTORY)) {
    if (read_file(entry.path().string()).find(name) != std::string::npos) {
      return entry.path().string();
    }
  }
  return "";
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
    theirs[2].reset(); // while it looks acquired
    for (std::size_t i : {0U, 1U}) {
      EXPECT_FALSE(theirs[i]->acquire());
      EXPECT_TRUE(is_taken_once(*theirs[i]));
      theirs[i].reset();
    }
    // An acquire links the mutex into the thread's list: that of the parent's thread is not in it.
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

TEST(ConditionVariable, IsWholeInAChildThatWasForkedDuringItsUse) {
  auto const condition = make_condition();
  std::atomic<bool> is_over{false};
  std::thread user([&] {
    while (!is_over) {
      condition->wait(0, true);
      condition->signal();
    }
  });
  for (int forks = 0; forks < 2000; ++forks) {
    in_forked_child([&condition] {
      condition->broadcast();
      condition->wait(0, true);
    });
  }
  is_over = true;
  user.join();
}

TEST(Thread, ThatForkedExistsInTheChild) {
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

TEST(NamedMutex, ClosedWhileHeldIsAbandoned) {
  std::string const name = unique("closed while held");
  auto mutex = open_mutex(name, /*open_existing=*/false);
  in_forked_child([&] {
    EXPECT_TRUE(mutex->acquire());
    mutex.reset(); // the parent still has it open
    EXPECT_EQ(read_file("/proc/self/maps").find(DIRECTORY), std::string::npos);
    mutex = open_mutex(name, /*open_existing=*/true);
    ASSERT_NE(mutex, nullptr);
    EXPECT_FALSE(mutex->acquire());
    EXPECT_TRUE(is_taken_once(*mutex));
  });
  EXPECT_TRUE(is_taken_once(*mutex));
}

TEST(NamedMutex, IsNotSharedWithAChild) {
  std::string const name = unique("child");
  void *const mutex = CreateMutexA(nullptr, TRUE, name.c_str());
  in_forked_child([mutex] {
    EXPECT_EQ(ReleaseMutex(mutex), FALSE);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
  });
  EXPECT_EQ(ReleaseMutex(mutex), TRUE);
  ParentsCall call;
  in_forked_child(
      [mutex, &call] {
        EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
        call.fork_waiting_child();
      },
      SIGKILL);
  EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED);
  EXPECT_EQ(CloseHandle(mutex), TRUE);
}

TEST(NamedMutex, IsNotWaitedForWhileItsFileStaysLocked) {
  std::string const name = unique("unreachable");
  auto mutex = open_mutex(name, /*open_existing=*/false);
  std::string const path = file_of(name);
  mutex.reset();
  // As if a process was stopped while it created the mutex.
  int const file = open(path.c_str(), O_RDWR | O_CREAT, 0600);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(fcntl(file, F_OFD_SETLK, &lock), 0);
  CapturedLog log("Ostrel.Core.Base.Win32Mutex", LoggingPriority::DEBUG);
  EXPECT_EQ(open_mutex(name, /*open_existing=*/false), nullptr);
  EXPECT_EQ(log.take(), std::vector<std::string>{"DEBUG - Failed to create mutex '" + name +
                                                 "': Resource temporarily unavailable"});
  close(file);
  EXPECT_NE(open_mutex(name, /*open_existing=*/false), nullptr);
}

TEST(NamedMutex, LeavesNothingBehind) {
  std::string const name = unique("left behind");
  mode_t const mask = umask(0777);
  auto mutex = open_mutex(name, /*open_existing=*/false);
  umask(mask);
  EXPECT_EQ(std::filesystem::status(file_of(name)).permissions(), std::filesystem::perms(0600));
  in_other_thread([&] { EXPECT_TRUE(mutex->acquire()); });
  in_forked_child([&] { EXPECT_TRUE(!mutex->acquire() && mutex->acquire()); });
  EXPECT_FALSE(mutex->acquire()); // the child ended while it held it
  in_forked_child([&] { EXPECT_TRUE(is_taken_once(*mutex)); });
  EXPECT_TRUE(mutex->acquire() && mutex->release());
  mutex.reset();
  EXPECT_EQ(file_of(name), "");

  in_forked_child([&] { mutex = open_mutex(name, /*open_existing=*/false); }, SIGKILL);
  for (int i = 0; i < 64; ++i) {
    open_mutex(unique("other"), /*open_existing=*/false);
  }
  EXPECT_EQ(file_of(name), "");
}
