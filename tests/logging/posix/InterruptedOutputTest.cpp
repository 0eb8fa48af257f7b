// SPDX-License-Identifier: Apache-2.0
// Writes that are interrupted: by a full disk, by the end of the thread.
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>

using namespace Ostrel;

namespace {

LoggingEvent event(std::string message) {
  return {"category", std::move(message), LoggingPriority::WARN, nullptr, 0};
}

// Writes a line under each of these limits to the file size; "empty" truncates the file.
Role const full_disk("full-disk", [](Role::Arguments const &arguments) {
  std::signal(SIGXFSZ, SIG_IGN);
  FileLoggingOutput output(arguments[0].c_str());
  auto const set_limit = [](rlim_t limit) {
    rlimit limits = {};
    getrlimit(RLIMIT_FSIZE, &limits);
    limits.rlim_cur = std::min(limit, limits.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limits);
  };
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (arguments[i] == "empty") {
      std::filesystem::resize_file(arguments[0], 0);
    } else {
      set_limit(std::stoul(arguments[i]));
      output.write(event(arguments[i]));
    }
  }
  set_limit(RLIM_INFINITY); // for files that the process writes at exit
  return 0;
});

TEST(FileLoggingOutput, ResumesAfterAFullDisk) {
  struct {
    Role::Arguments limits;
    std::string text;
  } const cases[] = {{{"11", "11", "99"}, "WARN  - 11\nWARN  - 99\n"}, // nothing of the second line
                     {{"14", "14", "99"}, "WARN  - 14\nWAR\nWARN  - 99\n"},
                     {{"14", "14", "14", "99"}, "WARN  - 14\nWAR\nWARN  - 99\n"},
                     {{"14", "14", "15", "99"},
                      "WARN  - 14\nWAR\nWARN  - 99\n"}, // only the line feed of the third line
                     {{"14", "14", "18", "99"}, "WARN  - 14\nWAR\nWAR\nWARN  - 99\n"},
                     {{"14", "14", "empty", "99"}, "WARN  - 99\n"},
                     {{"14", "14", "empty", "14", "14", "99"}, "WARN  - 14\nWAR\nWARN  - 99\n"}};
  TemporaryDirectory const directory;
  for (auto const &c : cases) {
    Role::Arguments arguments = c.limits;
    arguments.insert(arguments.begin(), directory.path(std::to_string(&c - cases)));
    EXPECT_EQ(run_child("full-disk", arguments).status, 0);
    EXPECT_EQ(read_file(arguments[0]), c.text);
  }
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

} // namespace
