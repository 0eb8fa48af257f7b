// SPDX-License-Identifier: Apache-2.0
// Mutexes in forked processes and in the file system. For processes that are killed inside one
// there is a torture.
#include "tests/platform/Mutexes.hpp"
#include "tests/support/Files.hpp"

#include <csignal>
#include <filesystem>
#include <sstream>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

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
  mode_t const mask = umask(0777);
  auto mutex = open_mutex(name, /*open_existing=*/false);
  umask(mask);
  EXPECT_EQ(files_of(name), "600 ");
  in_other_thread([&] { EXPECT_TRUE(mutex->acquire()); });
  EXPECT_EQ(in_forked_child([&] { return mutex->acquire() || !mutex->acquire() ? 1 : 0; }), 0);
  EXPECT_FALSE(mutex->acquire()); // the child ended inside
  EXPECT_EQ(in_forked_child([&] { return is_taken_once(*mutex) ? 0 : 1; }), 0);
  EXPECT_TRUE(mutex->acquire() && mutex->release());
  mutex.reset();
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
