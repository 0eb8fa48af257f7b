// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"

#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <vector>

using namespace Ostrel;

namespace {

using Level = LoggingPriority::PriorityLevel;

// A hierarchy whose root writes to a string.
struct Recorded {
  Recorded() { category("").set_logging_output(new RecordingOutput(&lines)); }
  LoggingCategory &category(std::string const &name) { return *hierarchy.get_instance(name); }
  std::string take_lines() { return std::exchange(lines, std::string()); }

  std::string lines;
  LoggingHierarchy hierarchy;
};

TEST(LoggingCategory, LevelFunctionsPassUpToTheThreshold) {
  // Called by name (inlined), through its address, and by the wrappers.
  struct {
    Level level;
    std::vector<bool> (*log)(LoggingCategory &);
    bool (LoggingCategory::*enabled)() const;
    std::string name;
  } const cases[] = {
#define ROW(level, function, name)                                                                 \
  {LoggingPriority::level,                                                                         \
   [](LoggingCategory &category) -> std::vector<bool> {                                            \
     return {category.function("%s", "n%"), (category.*&LoggingCategory::function)("a%d", 1),      \
             LoggingCategoryPrefixed(&category, "%s%d", "p%", 1).function("m%s", "%d"),            \
             LoggingCategoryPostfixed(&category, "%s%d", "p%", 1).function("m%s", "%d")};          \
   },                                                                                              \
   &LoggingCategory::function##_enabled, name " - "}
      ROW(FATAL, fatal, "FATAL"),       ROW(ERROR, error, "ERROR"),  ROW(WARN, warn, "WARN "),
      ROW(INFO, info, "INFO "),         ROW(TRACE, trace, "TRACE "), ROW(DEBUG, debug, "DEBUG"),
      ROW(VERBOSE, verbose, "VERBOSE"),
#undef ROW
  };
  Recorded recorded;
  LoggingCategory &category = recorded.category("a");
  for (auto const &c : cases) {
    std::string const lines =
        c.name + "n%\n" + c.name + "a1\n" + c.name + "p%1: m%d\n" + c.name + "m%d [p%1]\n";
    for (int offset : {-1, 0, 1}) {
      SCOPED_TRACE(c.level + offset);
      category.set_priority(static_cast<Level>(c.level + offset));
      bool const passes = offset >= 0;
      EXPECT_EQ(c.log(category), std::vector<bool>(4, passes));
      EXPECT_EQ((category.*c.enabled)(), passes);
      EXPECT_EQ(recorded.take_lines(), passes ? lines : "");
    }
  }
  EXPECT_FALSE(LoggingCategoryPrefixed(nullptr, "p").fatal("m"));
  EXPECT_FALSE(LoggingCategoryPostfixed(nullptr).fatal("m"));
}

TEST(LoggingCategory, ThresholdsAreInherited) {
  struct {
    char const *name, *granted; // `granted` has the first letters of all thresholds afterwards
    Level set;
  } const cases[] = {{"", "WWWWWW", Level::WARN},       {"a", "WWDDDD", Level::DEBUG},
                     {"a.b", "WWDEEE", Level::ERROR},   {"a", "WWFEEE", Level::FATAL},
                     {"a.b", "WWFFFF", Level::NOT_SET}, {"a", "WWWWWW", Level::NOT_SET},
                     {"", "<<<<<<", Level::DISABLED}};
  Recorded recorded;
  std::vector<LoggingCategory *> categories;
  for (char const *name : {"a.b.c", "", "a", "a.b", "a.b.d", "a.b.d.."}) {
    categories.push_back(&recorded.category(name)); // the first of them below the root
    EXPECT_EQ(categories.back()->granted_priority(), LoggingPriority::_default_priority);
  }
  for (auto const &c : cases) {
    recorded.category(c.name).set_priority(c.set);
    std::string granted;
    for (LoggingCategory const *category : categories) {
      granted += *category->get_granted_priority_name();
    }
    EXPECT_EQ(granted, c.granted) << c.name << " at " << c.set;
  }
  EXPECT_FALSE(recorded.category("a").fatal("dropped"));
  EXPECT_TRUE(recorded.category("a").logging_enabled()); // its own priority is not DISABLED
  EXPECT_TRUE(recorded.category("").logging_disabled());
}

TEST(LoggingCategory, ARootWithoutPriorityIsReportedAtEachQuery) {
  Recorded recorded;
  recorded.category("").set_priority(Level::NOT_SET);
  std::string const report = "NOT SET - <ROOT CATEGORY NOT SET>\n";
  EXPECT_TRUE(recorded.category("a").warn("w"));
  EXPECT_EQ(recorded.take_lines(), report + "WARN  - w\n");
  EXPECT_FALSE(recorded.category("a").debug("d"));
  EXPECT_STREQ(recorded.category("a").get_granted_priority_name(), "INFO ");
  EXPECT_EQ(recorded.take_lines(), report + report);
}

TEST(LoggingCategory, TextsAreTruncatedToTheirBuffers) {
  Recorded recorded;
  LoggingCategory &category = recorded.category("a");
  EXPECT_EQ(LoggingCategory::MAX_CATEGORY_SIZE, 16384);
  for (std::size_t size : {0U, 4095U, 4096U, 16383U, 16384U, 20000U}) {
    char const *const format = size == 0 ? nullptr : "%s"; // null is the empty one
    std::string const text(size, 'x'), cut = text.substr(0, 16383), wrapped = text.substr(0, 4095);
    EXPECT_TRUE(category.warn(format, text.c_str()));
    EXPECT_TRUE(LoggingCategoryPrefixed(&category, format, text.c_str()).warn("m"));
    EXPECT_TRUE(LoggingCategoryPostfixed(&category, "p").warn(format, text.c_str()));
    EXPECT_EQ(recorded.take_lines(),
              "WARN  - " + cut + "\nWARN  - " + wrapped + ": m\nWARN  - " + wrapped + " [p]\n");
  }
}

TEST(LoggingCategory, DefaultPostfixIsTheLastComponent) {
  Recorded recorded;
  for (char const *name : {"x.core.units", "units"}) {
    EXPECT_TRUE(LoggingCategoryPostfixed(&recorded.category(name)).warn("m"));
  }
  EXPECT_TRUE(LoggingCategoryPostfixed(&recorded.category("x.")).warn("m"));
  EXPECT_EQ(recorded.take_lines(), "WARN  - m [units]\nWARN  - m [units]\nWARN  - m []\n");
}

TEST(LoggingCategory, OwnOutputReplacesTheInheritedOne) {
  Recorded recorded;
  LoggingCategory &category = recorded.category("a"), &child = recorded.category("a.b");
  std::string lines;
  bool is_deleted = false;
  auto *const output = new RecordingOutput(&lines, [&is_deleted] { is_deleted = true; });
  category.set_logging_output(output);
  category.set_logging_output(output);
  EXPECT_FALSE(is_deleted);
  EXPECT_EQ(child.get_logging_output(), output);
  EXPECT_TRUE(child.warn("own"));
  EXPECT_EQ(lines, "WARN  - own\n");
  category.set_logging_output(nullptr); // to standard error
  EXPECT_TRUE(is_deleted);
  EXPECT_NE(dynamic_cast<LoggingOutputImpl *>(category.get_logging_output()), nullptr);
  category.remove_logging_output();
  EXPECT_TRUE(child.warn("root"));
  EXPECT_EQ(recorded.take_lines(), "WARN  - root\n");
}

TEST(LoggingHierarchy, NamesKeepTheirCaseAndTheProcessFoldsIt) {
  LoggingHierarchy hierarchy;
  EXPECT_EQ(hierarchy.get_instance(""), &hierarchy.get_root_category());
  EXPECT_NE(hierarchy.get_instance("A"), hierarchy.get_instance("a"));
  EXPECT_EQ(hierarchy.get_instance("A"), &hierarchy.get_value("A"));
  EXPECT_STREQ(hierarchy.get_instance(" .A..b. ")->get_category_name(), " .A..b. ");
  LoggingCategory &unknown = hierarchy.get_value("unknown");
  unknown.set_priority(Level::VERBOSE);
  EXPECT_FALSE(unknown.fatal("dropped"));

  LoggingCategory &units = LoggingCategory::get_instance("Test.Core.\xC4Units");
  EXPECT_EQ(&LoggingCategory::get_instance("TEST.CORE.\xC4UNITS"), &units);
  EXPECT_STREQ(units.get_category_name(), "test.core.\xC4units");
  EXPECT_EQ(&LoggingCategory::get_instance(""), &LoggingCategory::get_root_category());
  EXPECT_EQ(&LoggingCategory::get_instance(nullptr), &LoggingCategory::get_root_category());
}

TEST(LoggingHierarchy, ClearingLeavesTheRoot) {
  Recorded recorded;
  std::string lost;
  auto const parting_output = [&recorded, &lost](char const *name) {
    return new RecordingOutput(&lost, [&recorded, &category = recorded.category(name)] {
      category.warn("from %s", category.get_category_name());
      recorded.category("late").warn("from a new one");
    });
  };
  recorded.category("a").set_logging_output(parting_output("a.b"));
  recorded.category("a.b").set_priority(Level::DEBUG);
  recorded.hierarchy.clear_all();
  EXPECT_EQ(&recorded.hierarchy.get_value(""), &recorded.hierarchy.get_root_category());
  EXPECT_EQ(recorded.take_lines(), "WARN  - from a.b\nWARN  - from a new one\n");
  recorded.category("").set_priority(Level::ERROR); // does not touch deleted categories
  EXPECT_EQ(recorded.category("a.b").granted_priority(), Level::ERROR);
  EXPECT_TRUE(recorded.category("a.b").error("e"));
  EXPECT_EQ(recorded.take_lines(), "ERROR - e\n");
}

TEST(LoggingHierarchy, DestructorDeletesCategoriesThatOutputsCreate) {
  std::string lost;
  int ended = 0;
  {
    LoggingHierarchy hierarchy;
    for (char const *name : {"a", ""}) {
      hierarchy.get_instance(name)->set_logging_output(
          new RecordingOutput(&lost, [&hierarchy, &lost, &ended] {
            hierarchy.get_instance("late")->set_logging_output(
                new RecordingOutput(&lost, [&ended] { ++ended; }));
          }));
    }
  }
  EXPECT_EQ(ended, 2);
}

// Calls a protected member.
struct Exposed : LoggingCategory {
  static void write(LoggingCategory &category, char const *format, ...) OSTBASE_PRINTF(2, 3) {
    va_list arguments;
    va_start(arguments, format);
    (category.*&Exposed::log_write)(Level::DEBUG, "f.cpp", 7, format, arguments);
    va_end(arguments);
  }
};

TEST(LoggingCategory, WritesASourcePositionAtAnyThreshold) {
  LoggingHierarchy hierarchy;
  testing::internal::CaptureStderr();
  Exposed::write(hierarchy.get_root_category(), "m%d", 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "DEBUG - m1 [f.cpp:7]\n");
}

} // namespace
