// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <filesystem>
#include <map>

using namespace Ostrel;

ILoggingOutput *make_foreign_output(); // of a class without run-time type information

namespace {

using Level = LoggingPriority::PriorityLevel;

LoggingEvent event(std::string message) {
  return {"category", std::move(message), Level::WARN, nullptr, 0};
}

TEST(LoggingTimeStamp, NoTwoThreadsGetTheSameNumber) {
  LoggingTimeStamp const before;
  in_threads(4, [](int) {
    for (int i = 0; i < 10000; ++i) {
      [[maybe_unused]] LoggingTimeStamp const taken;
    }
  });
  EXPECT_EQ(LoggingTimeStamp().get_time(), before.get_time() + 40001);
}

TEST(LoggingTimeStamp, ShowsItsSixLowestDigits) {
  std::pair<int, char const *> const cases[] = {
      {0, "000000"},       {42, "000042"},  {999999, "999999"},  {1000000, "000000"},
      {1234567, "234567"}, {-42, "000042"}, {INT_MAX, "483647"}, {INT_MIN, "483648"}};
  LoggingTimeStamp stamp;
  for (auto const &[time, text] : cases) {
    stamp.set_time(time);
    EXPECT_EQ(stamp.get_time(), time);
    EXPECT_EQ(stamp.get_time_string(), text);
  }
}

TEST(LoggingPriority, NamesEachLevelAndNoOtherNumber) {
  std::map<int, char const *> const names = {
      {0, "<LOGGING DISABLED>"}, {100, "FATAL"}, {200, "ERROR"},   {300, "WARN "},   {400, "INFO "},
      {450, "TRACE "},           {500, "DEBUG"}, {600, "VERBOSE"}, {1000, "NOT SET"}};
  for (int level = -1; level <= 1001; ++level) {
    auto const known = names.find(level);
    EXPECT_STREQ(LoggingPriority::get_priority_name(static_cast<Level>(level)),
                 known == names.end() ? "<NO SUCH PRIORITY>" : known->second);
  }
}

TEST(LoggingEvent, FormatsAsOneLineAndCopiesKeepItsNumber) {
  struct {
    int level, line;
    char const *message, *file, *text;
  } const cases[] = {{400, 5, "M", nullptr, "INFO  - M\n"},
                     {300, 12, "50 %d", "f.cpp", "WARN  - 50 %d [f.cpp:12]\n"},
                     {450, -3, "two\nlines", "", "TRACE  - two\nlines [:-3]\n"},
                     {-1, 0, "", nullptr, "<NO SUCH PRIORITY> - \n"}};
  for (auto const &c : cases) {
    LoggingEvent const event("category", c.message, static_cast<Level>(c.level), c.file, c.line);
    EXPECT_EQ(LoggingLayoutImpl().format(event), c.text);
    LoggingEvent const copy(event), next(event.category_name, "", Level::WARN, nullptr, 0);
    EXPECT_EQ(copy.time_stamp.get_time(), event.time_stamp.get_time());
    EXPECT_EQ(next.time_stamp.get_time(), event.time_stamp.get_time() + 1);
  }
}

class CountedLayout : public ILoggingLayout {
public:
  explicit CountedLayout(int *deleted) : deleted_(deleted) {}
  ~CountedLayout() override { ++*deleted_; }
  std::string format(LoggingEvent const &logged) override {
    return "<" + logged.category_name + ": " + logged.message + ">";
  }

private:
  int *deleted_;
};

class Tee : public FileLoggingOutput {
public:
  using FileLoggingOutput::FileLoggingOutput;
  bool write_method(std::string const &text) override {
    LoggingOutputImpl &console = *this;
    return console.LoggingOutputImpl::write_method(text) && FileLoggingOutput::write_method(text);
  }
};

TEST(LoggingOutput, EachKindWritesItsLineAndUsesOneTimeStamp) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("log"), line = "WARN  - m1\n";
  char const *const name = path.c_str();
  int deleted = 0;
  auto *const without_layout = new LoggingOutputImpl;
  without_layout->delete_layout();
  EXPECT_TRUE(without_layout->close() && without_layout->re_open());
  struct {
    char const *kind;
    ILoggingOutput *output;
    std::string console, file;
  } const cases[] = {
      {"console", new LoggingOutputImpl, line, ""},
      {"file", new FileLoggingOutput(name), "", line},
      {"default layout, handed over", new FileLoggingOutput(name, new LoggingLayoutImpl), "", line},
      {"own layout", new LoggingOutputImpl(new CountedLayout(&deleted)), "<a: m1>", ""},
      {"derived", new Tee(name), line, line},
      {"no layout", without_layout, "", ""},
      {"no type information", make_foreign_output(), "foreign " + line, ""},
      {"none", nullptr, "", ""}};
  LoggingHierarchy hierarchy;
  LoggingCategory &root = hierarchy.get_root_category();
  for (auto const &c : cases) {
    SCOPED_TRACE(c.kind);
    write_file(path, "");
    c.output != nullptr ? root.set_logging_output(c.output) : root.remove_logging_output();
    LoggingTimeStamp const before;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(hierarchy.get_instance("a")->warn("m%d", 1)); // passes even without an output
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.console);
    EXPECT_EQ(read_file(path), c.file);
    EXPECT_EQ(LoggingTimeStamp().get_time(), before.get_time() + 2);
  }
  EXPECT_EQ(deleted, 1);
}

TEST(LoggingOutput, OwnsItsLayout) {
  int deleted = 0;
  TemporaryDirectory const directory;
  FileLoggingOutput output(directory.path("log").c_str());
  auto *const layout = new CountedLayout(&deleted);
  output.set_layout(layout);
  output.set_layout(layout);
  EXPECT_EQ(output.get_layout(), layout);
  EXPECT_EQ(deleted, 0);
  output.write(event("1"));
  output.set_layout(nullptr);
  EXPECT_EQ(deleted, 1);
  output.write(event("2"));
  output.delete_layout();
  EXPECT_EQ(output.get_layout(), nullptr);
  output.write(event("lost"));
  output.set_layout(new CountedLayout(&deleted));
  output.write(event("3"));
  EXPECT_EQ(read_file(directory.path("log")), "<category: 1>WARN  - 2\n<category: 3>");
}

TEST(FileLoggingOutput, OpensAtTheFirstWriteAppendsAndReopens) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("log");
  write_file(path, "before\n");
  FileLoggingOutput output(path.c_str());
  EXPECT_TRUE(output.close());
  output.write(event("one"));
  EXPECT_EQ(read_file(path), "before\nWARN  - one\n"); // visible immediately
  ASSERT_EQ(std::remove(path.c_str()), 0);
  output.write(event("into the removed file"));
  EXPECT_TRUE(output.re_open());
  EXPECT_TRUE(std::filesystem::exists(path));
  output.write(event("two"));
  EXPECT_TRUE(output.close());
  output.write(event("three"));
  EXPECT_EQ(read_file(path), "WARN  - two\nWARN  - three\n");
}

TEST(FileLoggingOutput, DropsTextThatCannotBeWritten) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("late/log");
  for (char const *name : {"", "/dev/full", path.c_str(), static_cast<char const *>(nullptr)}) {
    EXPECT_TRUE(FileLoggingOutput(name).write_method("lost\n"));
  }
  FileLoggingOutput output(path.c_str());
  output.write(event("lost"));
  write_file(path, "");
  output.write(event("lost: it counts as open"));
  EXPECT_TRUE(output.re_open());
  output.write(event("one"));
  EXPECT_EQ(read_file(path), "WARN  - one\n");
}

} // namespace
