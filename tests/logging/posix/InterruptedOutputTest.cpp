// SPDX-License-Identifier: Apache-2.0
// Lines whose writing is cut off: by a full disk, and by the end of the thread.
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>

using namespace Ostrel;

namespace {

LoggingEvent event(std::string message) {
  return {"category", std::move(message), LoggingPriority::WARN, nullptr, 0};
}

Role const full_disk("full-disk", [](Role::Arguments const &arguments) {
  std::signal(SIGXFSZ, SIG_IGN);
  FileLoggingOutput output(arguments[0].c_str());
  for (rlim_t limit : {14U, 14U, 18U, 100U}) { // the largest size of a file
    rlimit limits = {};
    getrlimit(RLIMIT_FSIZE, &limits);
    limits.rlim_cur = limit;
    setrlimit(RLIMIT_FSIZE, &limits);
    output.write(event(std::to_string(limit)));
  }
  output.write(event(std::string(100, 'x')));
  if (arguments.size() > 1) { // made room for by somebody else
    std::filesystem::resize_file(arguments[0], 0);
  }
  output.write(event("end"));
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
