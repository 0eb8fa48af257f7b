// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/DirectoryLock.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <array>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

DirectoryLock::State lock_at_once(std::string const &file) {
  return DirectoryLock(file.c_str(), /*timeout_ms=*/0).state();
}

TEST(DirectoryLock, IsThatOfADirectory) {
  TemporaryDirectory const directory;
  write_file(directory.path("a/file"), "");
  {
    DirectoryLock const lock(directory.path("a/file").c_str(), /*timeout_ms=*/0);
    EXPECT_EQ(lock.state(), DirectoryLock::State::HELD);
    EXPECT_EQ(lock_at_once(directory.path("a/other")), DirectoryLock::State::BUSY);
  }
  EXPECT_EQ(lock_at_once(directory.path("a/other")), DirectoryLock::State::HELD);
  EXPECT_EQ(lock_at_once(directory.path("none/file")), DirectoryLock::State::UNAVAILABLE);
  rlimit before = {};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit const none = {0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  DirectoryLock::State const state = lock_at_once(directory.path("a/file"));
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(state, DirectoryLock::State::FAILED);
}

// A process that is killed leaves a child behind, which must not keep the lock.
TEST(DirectoryLock, IsNotInherited) {
  TemporaryDirectory const directory;
  std::string const file = directory.path("file");
  std::array<int, 2> pipe_ends = {};
  ASSERT_EQ(pipe(pipe_ends.data()), 0);
  pid_t const owner = fork();
  if (owner == 0) {
    DirectoryLock const lock(file.c_str(), /*timeout_ms=*/0);
    if (fork() == 0) { // lives until the test closes its end of the pipe
      close(pipe_ends[1]);
      char byte;
      _exit(read(pipe_ends[0], &byte, 1) == 0 ? 0 : 1);
    }
    _exit(lock.state() == DirectoryLock::State::HELD ? 0 : 1);
  }
  int status = -1;
  waitpid(owner, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(DirectoryLock(file.c_str(), /*timeout_ms=*/10'000).state(), DirectoryLock::State::HELD);
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

} // namespace
