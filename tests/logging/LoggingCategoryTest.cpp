// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"

#include "core/base/logging/LoggingHierarchy.hpp"
#include "tests/logging/RecordingOutput.hpp"
#include "tests/logging/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <utility>

using namespace Ostrel;

namespace {

using Level = LoggingPriority::PriorityLevel;
using LevelFunction = bool (LoggingCategory::*)(char const *, ...);

// A hierarchy whose root writes into a text.
struct Recorded {
  Recorded() { hierarchy.get_root_category().set_logging_output(new RecordingOutput(&lines)); }
  LoggingCategory &category(char const *name) { return *hierarchy.get_instance(name); }
  std::string take_lines() { return std::exchange(lines, std::string()); }

  std::string lines;
  LoggingHierarchy hierarchy;
};

TEST(LoggingCategory, LevelFunctionsPassUpToTheThreshold) {
  // Called through its address and by its name: two ways into the library.
  struct {
    Level level;
    LevelFunction function;
    bool (*by_name)(LoggingCategory &);
    bool (LoggingCategory::*enabled)() const;
    char const *lines;
  } const cases[] = {
#define ROW(level, function, name)                                                                 \
  {LoggingPriority::level, &LoggingCategory::function,                                             \
   [](LoggingCategory &category) { return category.function("%s", "n%"); },                        \
   &LoggingCategory::function##_enabled, name " - a1\n" name " - n%\n"}
      ROW(FATAL, fatal, "FATAL"),       ROW(ERROR, error, "ERROR"),  ROW(WARN, warn, "WARN "),
      ROW(INFO, info, "INFO "),         ROW(TRACE, trace, "TRACE "), ROW(DEBUG, debug, "DEBUG"),
      ROW(VERBOSE, verbose, "VERBOSE"),
#undef ROW
  };
  Recorded recorded;
  LoggingCategory &category = recorded.category("a");
  for (auto const &c : cases) {
    SCOPED_TRACE(c.level);
    for (int offset : {-1, 0, 1}) {
      category.set_priority(static_cast<Level>(c.level + offset));
      bool const passes = offset >= 0;
      EXPECT_EQ((category.*c.function)("a%d", 1), passes);
      EXPECT_EQ(c.by_name(category), passes);
      EXPECT_EQ((category.*c.enabled)(), passes);
      EXPECT_EQ(category.priority_satisfied(c.level), passes);
      EXPECT_EQ(recorded.take_lines(), passes ? c.lines : "");
    }
  }
}

TEST(LoggingCategory, ThresholdsAreInherited) {
  Recorded recorded;
  LoggingCategory &root = recorded.hierarchy.get_root_category();
  recorded.category("a.b.c"); // hangs below the root, as nothing else was there
  struct {
    char const *name;
    Level set;
    Level root, a, a_b, a_b_c, a_b_d; // granted afterwards
  } const cases[] = {
      {"", Level::WARN, Level::WARN, Level::WARN, Level::WARN, Level::WARN, Level::WARN},
      {"a", Level::DEBUG, Level::WARN, Level::DEBUG, Level::DEBUG, Level::WARN, Level::DEBUG},
      {"a.b", Level::ERROR, Level::WARN, Level::DEBUG, Level::ERROR, Level::WARN, Level::ERROR},
      {"a", Level::FATAL, Level::WARN, Level::FATAL, Level::ERROR, Level::WARN, Level::ERROR},
      {"a.b", Level::NOT_SET, Level::WARN, Level::FATAL, Level::FATAL, Level::WARN, Level::FATAL},
      {"a", Level::NOT_SET, Level::WARN, Level::WARN, Level::WARN, Level::WARN, Level::WARN},
      {"", Level::DISABLED, Level::DISABLED, Level::DISABLED, Level::DISABLED, Level::DISABLED,
       Level::DISABLED},
  };
  LoggingCategory &a = recorded.category("a"), &a_b = recorded.category("a.b"),
                  &a_b_c = recorded.category("a.b.c"), &a_b_d = recorded.category("a.b.d");
  EXPECT_EQ(a_b.get_priority(), Level::NOT_SET);
  EXPECT_EQ(a_b.granted_priority(), LoggingPriority::_default_priority);
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.name) + " at " + std::to_string(c.set));
    recorded.category(c.name).set_priority(c.set);
    EXPECT_EQ(root.granted_priority(), c.root);
    EXPECT_EQ(a.granted_priority(), c.a);
    EXPECT_EQ(a_b.granted_priority(), c.a_b);
    EXPECT_EQ(a_b_c.granted_priority(), c.a_b_c);
    EXPECT_EQ(a_b_d.granted_priority(), c.a_b_d);
    EXPECT_EQ(recorded.category("a.b.d..").granted_priority(), c.a_b_d);
  }
  EXPECT_FALSE(a.fatal("dropped"));
  EXPECT_TRUE(a.logging_enabled()); // its own priority is not DISABLED
  EXPECT_TRUE(root.logging_disabled());
}

TEST(LoggingCategory, ARootWithoutPriorityIsReportedAtEachQuery) {
  Recorded recorded;
  LoggingCategory &category = recorded.category("a");
  recorded.hierarchy.get_root_category().set_priority(Level::NOT_SET);
  std::string const report = "NOT SET - <ROOT CATEGORY NOT SET>\n";
  EXPECT_TRUE(category.warn("w"));
  EXPECT_EQ(recorded.take_lines(), report + "WARN  - w\n");
  EXPECT_FALSE(category.debug("d"));
  EXPECT_FALSE(category.priority_satisfied(static_cast<Level>(500)));
  EXPECT_STREQ(category.get_granted_priority_name(), "INFO ");
  EXPECT_EQ(recorded.take_lines(), report + report + report);
  category.set_priority(Level::INFO);
  EXPECT_TRUE(category.info("i"));
  EXPECT_EQ(recorded.take_lines(), "INFO  - i\n");
}

TEST(LoggingCategory, MessagesAreCutToTheBuffer) {
  constexpr std::size_t LONGEST = 16383;
  Recorded recorded;
  LoggingCategory &category = recorded.category("a");
  for (std::size_t size : {LONGEST, LONGEST + 1, std::size_t{20000}}) {
    EXPECT_TRUE(category.warn("%s", std::string(size, 'x').c_str()));
    EXPECT_EQ(recorded.take_lines(), "WARN  - " + std::string(LONGEST, 'x') + "\n");
  }
  char const *no_format = nullptr;
  EXPECT_TRUE(category.warn(no_format, 1));
  EXPECT_EQ(recorded.take_lines(), "WARN  - \n");
  EXPECT_EQ(LoggingCategory::MAX_CATEGORY_SIZE, 16384);
}

TEST(LoggingCategory, AnOutputOfItsOwnReplacesTheInheritedOne) {
  Recorded recorded;
  LoggingCategory &category = recorded.category("a"), &child = recorded.category("a.b");
  std::string lines;
  bool is_deleted = false;
  auto *const output = new RecordingOutput(&lines, &is_deleted);
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

  recorded.hierarchy.get_root_category().remove_logging_output();
  EXPECT_EQ(child.get_logging_output(), nullptr);
  EXPECT_TRUE(child.warn("passes, and nobody takes it"));
}

TEST(LoggingHierarchy, RegistersNamesAsTheyAre) {
  Recorded recorded;
  LoggingHierarchy &hierarchy = recorded.hierarchy;
  EXPECT_EQ(hierarchy.get_instance(""), &hierarchy.get_root_category());
  EXPECT_NE(hierarchy.get_instance("A"), hierarchy.get_instance("a"));
  EXPECT_EQ(hierarchy.get_instance("A"), &hierarchy.get_value("A"));
  EXPECT_STREQ(hierarchy.get_instance(" .A..b. ")->get_category_name(), " .A..b. ");

  LoggingCategory &nobody = hierarchy.get_value("nobody");
  nobody.set_priority(Level::VERBOSE);
  EXPECT_FALSE(nobody.fatal("dropped"));
  EXPECT_STREQ(nobody.get_category_name(), "");
}

TEST(LoggingHierarchy, ClearingLeavesTheRoot) {
  Recorded recorded;
  bool is_deleted = false;
  std::string lines;
  recorded.category("");
  recorded.category("a").set_priority(Level::DEBUG);
  recorded.category("a.b").set_logging_output(new RecordingOutput(&lines, &is_deleted));
  recorded.hierarchy.clear_all();
  EXPECT_TRUE(is_deleted);
  LoggingCategory &root = recorded.hierarchy.get_root_category();
  EXPECT_EQ(&recorded.hierarchy.get_value(""), &root);
  root.set_priority(Level::ERROR); // reaches nobody that is gone
  EXPECT_EQ(recorded.category("a.b").granted_priority(), Level::ERROR);
  EXPECT_TRUE(recorded.category("a.b").error("e"));
  EXPECT_EQ(recorded.take_lines(), "ERROR - e\n");
}

TEST(LoggingHierarchy, DeepNamesAndManyCategoriesAreCheap) {
  Recorded recorded;
  std::string name = "a";
  for (int depth = 0; depth < 3000; ++depth) {
    recorded.hierarchy.get_instance(name);
    name += ".a";
  }
  LoggingCategory &deepest = *recorded.hierarchy.get_instance(name);
  recorded.category("a").set_priority(Level::FATAL);
  EXPECT_EQ(deepest.granted_priority(), Level::FATAL);
}

TEST(LoggingCategory, TheProcessesCategoriesIgnoreCase) {
  LoggingCategory &units = LoggingCategory::get_instance("Test.Core.\xC4Units");
  EXPECT_EQ(&LoggingCategory::get_instance("TEST.CORE.\xC4UNITS"), &units);
  EXPECT_STREQ(units.get_category_name(), "test.core.\xC4units");
  EXPECT_EQ(&LoggingCategory::get_instance(""), &LoggingCategory::get_root_category());
  EXPECT_EQ(&LoggingCategory::get_instance(nullptr), &LoggingCategory::get_root_category());
}

TEST(LoggingCategory, ThreadsLogAndChangePrioritiesAtOnce) {
  constexpr int THREADS = 8, ROUNDS = 200;
  Recorded recorded;
  std::atomic<int> passed{0};
  in_threads(THREADS, [&recorded, &passed](int thread) {
    std::string const name = "t." + std::to_string(thread % 2);
    for (int round = 0; round < ROUNDS; ++round) {
      passed += recorded.category(name.c_str()).warn("%s", "line") ? 1 : 0;
      recorded.category("t").set_priority(round % 2 == 0 ? Level::ERROR : Level::NOT_SET);
    }
  });
  std::string const line = "WARN  - line\n";
  EXPECT_EQ(recorded.lines.size(), line.size() * static_cast<std::size_t>(passed));
}

} // namespace
