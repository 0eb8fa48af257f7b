// SPDX-License-Identifier: Apache-2.0
// Lines whose writing is cut off: by a full disk, by the end of the thread, by a fork.
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/ILoggingLayout.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

LoggingEvent event(std::string message) {
  return {"category", std::move(message), LoggingPriority::WARN, nullptr, 0};
}

Role const full_disk("full-disk", [](Role::Arguments const &arguments) {
  std::signal(SIGXFSZ, SIG_IGN);
  FileLoggingOutput output(arguments[0].c_str());
  auto const set_limit = [](rlim_t limit) {
    rlimit limits = {};
    getrlimit(RLIMIT_FSIZE, &limits);
    limits.rlim_cur = std::min(limit, limits.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limits);
  };
  for (rlim_t limit : {14U, 14U, 18U, 100U}) { // the largest size of a file
    set_limit(limit);
    output.write(event(std::to_string(limit)));
  }
  output.write(event(std::string(100, 'x')));
  if (arguments.size() > 1) { // made room for by somebody else
    std::filesystem::resize_file(arguments[0], 0);
  }
  output.write(event("end"));
  set_limit(RLIM_INFINITY); // for what a process writes at its end
  return 0;
});

TEST(FileLoggingOutput, WritesAgainAfterAFullDisk) {
  TemporaryDirectory const directory;
  std::string const log = directory.path("log"), emptied = directory.path("emptied");
  EXPECT_EQ(run_child("full-disk", {log}).status, 0);
  // The second line is cut after 3 characters, the third after its line feed and 3 of its own.
  std::string const text = read_file(log), whole = "WARN  - 14\nWAR\nWAR\nWARN  - 100\nWARN  - ";
  EXPECT_EQ(text, whole + std::string(100 - whole.size(), 'x'));
  EXPECT_EQ(run_child("full-disk", {emptied, "emptied"}).status, 0);
  EXPECT_EQ(read_file(emptied), "WARN  - end\n");
}

// Writes to two files that cannot be opened, one for want of a descriptor, and goes on when both
// could be, until the first has a line or there is no more hope. Fails if that is too early.
Role const few_descriptors("few-descriptors", [](Role::Arguments const &arguments) {
  FileLoggingOutput passing(arguments[0].c_str()), lasting(arguments[1].c_str());
  rlimit limits = {};
  getrlimit(RLIMIT_NOFILE, &limits);
  rlimit const none = {0, limits.rlim_max};
  auto const start = std::chrono::steady_clock::now();
  setrlimit(RLIMIT_NOFILE, &none);
  passing.write(event("lost"));
  setrlimit(RLIMIT_NOFILE, &limits);
  lasting.write(event("lost"));
  write_file(arguments[1], "");
  std::chrono::steady_clock::duration elapsed{};
  while (read_file(arguments[0]).empty() && elapsed < std::chrono::minutes(1)) {
    passing.write(event("late"));
    lasting.write(event("late"));
    elapsed = std::chrono::steady_clock::now() - start;
  }
  return elapsed < std::chrono::seconds(1) ? 1 : 0;
});

TEST(FileLoggingOutput, TriesAgainWhatFailedForAMoment) {
  TemporaryDirectory const directory;
  std::string const passing = directory.path("passing"), lasting = directory.path("no/lasting");
  EXPECT_EQ(run_child("few-descriptors", {passing, lasting}).status, 0);
  EXPECT_EQ(read_file(passing), "WARN  - late\n");
  EXPECT_EQ(read_file(lasting), "");
}

TEST(FileLoggingOutput, WritesTheLineOfACancelledThread) {
  TemporaryDirectory const directory;
  FileLoggingOutput output(directory.path("log").c_str());
  std::thread([&output] {
    pthread_cancel(pthread_self());
    output.write(event("whole")); // opens the file as well
    pthread_testcancel();
    output.write(event("not reached"));
  }).join();
  EXPECT_EQ(read_file(directory.path("log")), "WARN  - whole\n");
}

// Keeps the thread for ever.
class EndlessLayout : public ILoggingLayout {
public:
  std::string format(LoggingEvent const &) override {
    for (is_inside = true;;) {
      pause();
    }
  }
  static inline std::atomic<bool> is_inside{false};
};

// Gives the end of a child of a process of which another thread stays in a layout.
Role const forked("forked", [](Role::Arguments const &) -> int {
  std::thread([] {
    LoggingCategory &root = LoggingCategory::get_root_category();
    root.set_logging_output(new LoggingOutputImpl(new EndlessLayout));
    root.fatal("the end");
  }).detach();
  while (!EndlessLayout::is_inside) {
    std::this_thread::yield();
  }
  for (int i = 0; i < 5; ++i) { // a loaded machine may need more than one
    auto const start = std::chrono::steady_clock::now();
    if (fork() == 0) {
      std::exit(0);
    }
    wait(nullptr);
    if (std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) {
      _exit(0);
    }
  }
  _exit(1);
});

TEST(LoggingTeardown, AForkedChildEndsWithoutTheOtherThreads) {
  // The thread sanitizer's own wait at the end is a second.
  ChildResult const result = run_child("forked", {}, {{"TSAN_OPTIONS", "atexit_sleep_ms=0"}});
  EXPECT_EQ(result.status, 0) << result.err;
}

} // namespace
