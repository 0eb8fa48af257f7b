// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"
#include "tests/logging/Threads.hpp"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <set>

using namespace Ostrel;

namespace {

TEST(LoggingPriority, NamesAreExact) {
  struct {
    int level;
    char const *name;
  } const cases[] = {
      {0, "<LOGGING DISABLED>"},
      {100, "FATAL"},
      {200, "ERROR"},
      {300, "WARN "},
      {400, "INFO "},
      {450, "TRACE "},
      {500, "DEBUG"},
      {600, "VERBOSE"},
      {1000, "NOT SET"},
      {350, "<NO SUCH PRIORITY>"},
      {-1, "<NO SUCH PRIORITY>"},
  };
  for (auto const &c : cases) {
    EXPECT_STREQ(
        LoggingPriority::get_priority_name(static_cast<LoggingPriority::PriorityLevel>(c.level)),
        c.name);
  }
  EXPECT_EQ(LoggingPriority::_default_priority, 400);
}

TEST(LoggingTimeStamp, ShowsItsSixLowestDigits) {
  struct {
    int time;
    char const *text;
  } const cases[] = {{0, "000000"},      {7, "000007"},       {42, "000042"},
                     {999999, "999999"}, {1000000, "000000"}, {1234567, "234567"},
                     {-42, "000042"},    {INT_MAX, "483647"}, {INT_MIN, "483648"}};
  for (auto const &c : cases) {
    LoggingTimeStamp stamp;
    stamp.set_time(c.time);
    EXPECT_EQ(stamp.get_time_string(), c.text);
    EXPECT_EQ(LoggingTimeStamp(stamp).get_time(), c.time);
  }
}

TEST(LoggingTimeStamp, NoTwoThreadsGetOneNumber) {
  constexpr int THREADS = 4, STAMPS = 1000;
  std::array<std::array<int, STAMPS>, THREADS> numbers;
  in_threads(THREADS, [&numbers](int thread) {
    for (int &number : numbers[static_cast<std::size_t>(thread)]) {
      number = LoggingTimeStamp().get_time();
    }
  });
  std::set<int> all;
  for (auto const &own : numbers) {
    all.insert(own.begin(), own.end());
  }
  EXPECT_EQ(all.size(), static_cast<std::size_t>(THREADS * STAMPS));
}

TEST(LoggingEvent, IsLaidOutAsOneLineAndKeepsItsNumberInACopy) {
  struct {
    LoggingPriority::PriorityLevel level;
    char const *message, *file;
    int line;
    char const *text;
  } const cases[] = {
      {LoggingPriority::INFO, "M", nullptr, 5, "INFO  - M\n"},
      {LoggingPriority::WARN, "50 %d", "f.cpp", 12, "WARN  - 50 %d [f.cpp:12]\n"},
      {LoggingPriority::TRACE, "two\nlines", "", -3, "TRACE  - two\nlines [:-3]\n"},
  };
  LoggingLayoutImpl layout;
  for (auto const &c : cases) {
    std::string const name = "category", message = c.message;
    LoggingEvent const event(name, message, c.level, c.file, c.line);
    EXPECT_EQ(layout.format(event), c.text);
    LoggingEvent const copy(event);
    LoggingEvent const next("category", "message", c.level, nullptr, 0);
    EXPECT_EQ(copy.time_stamp.get_time(), event.time_stamp.get_time());
    EXPECT_EQ(next.time_stamp.get_time(), event.time_stamp.get_time() + 1);
  }
}

TEST(LoggingSpec, EntriesEndAtSemicolons) {
  struct {
    char const *text, *category, *priority;
    unsigned int from, next;
  } const cases[] = {
      {"a;b,INFO", "a", "", 0, 2},
      {"a;b,INFO", "b", "INFO", 2, LoggingCategory::npos},
      {"a;b,INFO", "", "", 8, LoggingCategory::npos},
      {"a;b,INFO", "", "", LoggingCategory::npos, LoggingCategory::npos},
      {"", "", "", 0, LoggingCategory::npos},
      {"a,WARN;;b", "", "", 7, 8},
      {" a ,x,y;", " a ", "x,y", 0, 8},
      {",INFO", "", "INFO", 0, LoggingCategory::npos},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.text) + " from " + std::to_string(c.from));
    std::string category = "stale", priority = "stale";
    EXPECT_EQ(LoggingCategory::parse_logging_spec(c.text, c.from, &category, &priority), c.next);
    EXPECT_EQ(category, c.category);
    EXPECT_EQ(priority, c.priority);
    EXPECT_EQ(LoggingCategory::parse_logging_spec(c.text, c.from, nullptr, nullptr), c.next);
  }
}

} // namespace
