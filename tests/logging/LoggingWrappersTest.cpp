// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "tests/logging/RecordingOutput.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Ostrel;

namespace {

constexpr std::size_t LONGEST = 4095;

template <typename Wrapper> std::string log_at_each_level(LoggingCategory &category) {
  std::string lines;
  category.set_logging_output(new RecordingOutput(&lines));
  category.set_priority(LoggingPriority::VERBOSE);
  Wrapper wrapper(&category, "%s%d", "text%", 1);
  EXPECT_TRUE(wrapper.fatal("m%d", 1) && wrapper.error("m") && wrapper.warn("m%s", "%s") &&
              wrapper.info("m") && wrapper.trace("m") && wrapper.debug("m") &&
              wrapper.verbose("m"));
  category.set_priority(LoggingPriority::INFO);
  EXPECT_FALSE(wrapper.debug("dropped") || Wrapper(nullptr, "%s", "text").fatal("dropped"));
  EXPECT_TRUE(wrapper.info("%s", std::string(LONGEST + 1, 'x').c_str()));
  category.remove_logging_output();
  return lines;
}

TEST(LoggingWrappers, PutTheirTextBesideTheMessage) {
  LoggingHierarchy hierarchy;
  LoggingCategory &category = *hierarchy.get_instance("a");
  std::string const cut(LONGEST, 'x');
  EXPECT_EQ(log_at_each_level<LoggingCategoryPrefixed>(category),
            "FATAL - text%1: m1\nERROR - text%1: m\nWARN  - text%1: m%s\nINFO  - text%1: m\n"
            "TRACE  - text%1: m\nDEBUG - text%1: m\nVERBOSE - text%1: m\nINFO  - text%1: " +
                cut + "\n");
  EXPECT_EQ(log_at_each_level<LoggingCategoryPostfixed>(category),
            "FATAL - m1 [text%1]\nERROR - m [text%1]\nWARN  - m%s [text%1]\nINFO  - m [text%1]\n"
            "TRACE  - m [text%1]\nDEBUG - m [text%1]\nVERBOSE - m [text%1]\nINFO  - " +
                cut + " [text%1]\n");
}

TEST(LoggingWrappers, APostfixIsByDefaultTheLastComponent) {
  struct {
    char const *name, *line;
  } const cases[] = {{"x.core.units", "WARN  - m [units]\n"},
                     {"units", "WARN  - m [units]\n"},
                     {"x.", "WARN  - m []\n"},
                     {"", "WARN  - m []\n"}};
  LoggingHierarchy hierarchy;
  for (auto const &c : cases) {
    std::string lines;
    LoggingCategory &category = *hierarchy.get_instance(c.name);
    category.set_logging_output(new RecordingOutput(&lines));
    EXPECT_TRUE(LoggingCategoryPostfixed(&category).warn("m"));
    EXPECT_EQ(lines, c.line);
    category.remove_logging_output();
  }
  EXPECT_FALSE(LoggingCategoryPostfixed(nullptr).fatal("m"));
}

Role const postfixed("postfixed", [](Role::Arguments const &) {
  LoggingCategoryPostfixed(&LoggingCategory::get_instance("a.B")).warn("m");
  return 0;
});

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

TEST(LoggingWrappers, TheEnvironmentPutsTheTimeInFront) {
  struct {
    char const *value;
    bool has_time;
  } const cases[] = {{"TRUE", true}, {"yes", true}, {"1", false},
                     {"ON", false},  {"", false},   {nullptr, false}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.value == nullptr ? "not set" : c.value);
    std::string line = run_child("postfixed", {}, {{"OVRA_LOG_TIMESTAMP", c.value}}).err;
    std::replace_if(line.begin(), line.end(), is_digit, '0');
    EXPECT_EQ(line, c.has_time ? "WARN  - 00:00:00  m [b]\n" : "WARN  - m [b]\n");
  }
}

} // namespace
