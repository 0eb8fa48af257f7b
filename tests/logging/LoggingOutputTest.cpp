// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/FileLoggingOutput.hpp"

#include "core/base/logging/ILoggingLayout.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "tests/logging/Threads.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

#include <sys/resource.h>

using namespace Ostrel;

namespace {

LoggingEvent event(std::string message) {
  return {"category", std::move(message), LoggingPriority::WARN, nullptr, 0};
}

class CountedLayout : public ILoggingLayout {
public:
  explicit CountedLayout(int *deleted) : deleted_(deleted) {}
  ~CountedLayout() override { ++*deleted_; }
  std::string format(LoggingEvent const &logged) override { return "<" + logged.message + ">"; }

private:
  int *deleted_;
};

TEST(LoggingOutput, OwnsItsLayout) {
  int deleted = 0;
  TemporaryDirectory const directory;
  std::string const path = directory.path("log");
  auto *const layout = new CountedLayout(&deleted);
  FileLoggingOutput output(path.c_str(), layout);
  output.set_layout(layout);
  EXPECT_EQ(output.get_layout(), layout);
  EXPECT_EQ(deleted, 0);
  output.write(event("own"));
  output.set_layout(nullptr);
  EXPECT_EQ(deleted, 1);
  output.write(event("default"));
  output.delete_layout();
  EXPECT_EQ(output.get_layout(), nullptr);
  output.write(event("lost"));
  output.set_layout(new CountedLayout(&deleted));
  output.write(event("again"));
  EXPECT_EQ(read_file(path), "<own>WARN  - default\n<again>");
}

TEST(FileLoggingOutput, OpensLateAppendsAndOpensAgain) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("log"), moved = directory.path("moved");
  write_file(path, "before\n");
  FileLoggingOutput output(path.c_str());
  EXPECT_TRUE(output.close());
  ASSERT_EQ(std::rename(path.c_str(), moved.c_str()), 0);
  output.write(event("one"));
  EXPECT_EQ(read_file(path), "WARN  - one\n"); // there for others at once
  ASSERT_EQ(std::remove(path.c_str()), 0);
  output.write(event("into the removed file"));
  EXPECT_TRUE(output.re_open());
  EXPECT_EQ(read_file(path), "");
  output.write(event("two"));
  EXPECT_TRUE(output.close());
  output.write(event("three"));
  EXPECT_EQ(read_file(path), "WARN  - two\nWARN  - three\n");
  EXPECT_EQ(read_file(moved), "before\n");
}

TEST(FileLoggingOutput, LosesInSilenceWhatCannotBeWritten) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("late/log");
  for (char const *name : {"", "/dev/full", path.c_str(), static_cast<char const *>(nullptr)}) {
    FileLoggingOutput output(name);
    EXPECT_TRUE(output.write_method("lost\n"));
  }
  FileLoggingOutput output(path.c_str());
  output.write(event("lost"));
  write_file(path, "");
  output.write(event("lost: it counts as open"));
  EXPECT_TRUE(output.re_open());
  output.write(event("one"));
  EXPECT_EQ(read_file(path), "WARN  - one\n");
}

// Whether the process may make files larger than that.
void limit_file_size(rlim_t limit) {
  rlimit limits = {};
  getrlimit(RLIMIT_FSIZE, &limits);
  limits.rlim_cur = limit;
  setrlimit(RLIMIT_FSIZE, &limits);
}

Role const full_disk("full-disk", [](Role::Arguments const &arguments) {
  std::signal(SIGXFSZ, SIG_IGN);
  FileLoggingOutput output(arguments[0].c_str());
  for (rlim_t limit : {14U, 14U, 18U, 100U}) {
    limit_file_size(limit);
    output.write(event(std::to_string(limit)));
  }
  return 0;
});

TEST(FileLoggingOutput, WritesAgainAfterAFullDisk) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("log");
  EXPECT_EQ(run_child("full-disk", {path}).status, 0);
  // The second line is cut after 3 characters, the third after its line feed and 3 of its own.
  EXPECT_EQ(read_file(path), "WARN  - 14\nWAR\nWAR\nWARN  - 100\n");
}

constexpr int LINES = 300;

std::string long_line(std::string const &writer) {
  return writer + std::string(5000, 'x');
}

Role const writer("writer", [](Role::Arguments const &arguments) {
  FileLoggingOutput output(arguments[0].c_str());
  for (int i = 0; i < LINES; ++i) {
    output.write(event(long_line(arguments[1])));
  }
  return 0;
});

TEST(FileLoggingOutput, LinesOfManyProcessesStayWhole) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("log");
  std::vector<std::string> const names = {"a", "b", "c"};
  in_threads(static_cast<int>(names.size()), [&](int index) {
    run_child("writer", {path, names[static_cast<std::size_t>(index)]});
  });
  std::string const content = read_file(path);
  std::size_t const line_size = ("WARN  - " + long_line("a") + "\n").size();
  ASSERT_EQ(content.size(), names.size() * LINES * line_size);
  for (std::size_t i = 0; i < content.size(); i += line_size) {
    std::string const name = content.substr(i + 8, 1);
    ASSERT_EQ(content.substr(i, line_size), "WARN  - " + long_line(name) + "\n");
  }
}

} // namespace
