// SPDX-License-Identifier: Apache-2.0
// What happens once per process: the set-up by the first call, and the end.
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/ILoggingLayout.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "tests/logging/FailingAllocations.hpp"
#include "tests/logging/Threads.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>

using namespace Ostrel;

namespace {

Role const speak("speak", [](Role::Arguments const &) {
  for (char const *name : {"x.Units", "x.Config", "other"}) {
    LoggingCategory &category = LoggingCategory::get_instance(name);
    category.debug("%s debug", name);
    category.warn("%s warn", name);
  }
  return 0;
});

TEST(LoggingSetup, FollowsTheEnvironment) {
  std::string const plain = "WARN  - x.Units warn\nWARN  - x.Config warn\nWARN  - other warn\n";
  std::string const units = "DEBUG - x.Units debug\nWARN  - x.Units warn\n";
  std::string const others = "WARN  - x.Config warn\nWARN  - other warn\n";
  TemporaryDirectory const directory;
  std::string const first = directory.path("first"), second = directory.path("second");
  struct {
    char const *name;
    Environment environment;
    std::string err, first, second;
  } const cases[] = {
      {"nothing set", {}, plain, "", ""},
      {"one entry", {{"OSTREL_LOG_PRIORITY", "X.Units,DEBUG"}}, units + others, "", ""},
      {"no priority is debug", {{"OVRA_LOG_PRIORITY", "x.units"}}, units + others, "", ""},
      {"any case, unknown inherits",
       {{"OVRA_LOG_PRIORITY", "x,ERROR;x.units,dEbUg;other,WARN "}},
       units + "WARN  - other warn\n",
       "",
       ""},
      {"an empty name ends it",
       {{"OSTREL_LOG_PRIORITY", "x.units,debug;;other,FATAL"}},
       units + others,
       "",
       ""},
      {"the first name wins",
       {{"OSTREL_LOG_PRIORITY", ""}, {"OVRA_LOG_PRIORITY", "x.units"}},
       plain,
       "",
       ""},
      {"files of one name",
       {{"OSTREL_LOG_PRIORITY", "x.units;other,warn"}, {"OVRA_LOG_OUTPUT", first.c_str()}},
       "WARN  - x.Config warn\n",
       "before\n" + units + "WARN  - other warn\n",
       ""},
      {"the first output wins",
       {{"OVRA_LOG_PRIORITY", "x"},
        {"OSTREL_LOG_OUTPUT", second.c_str()},
        {"OVRA_LOG_OUTPUT", first.c_str()}},
       "WARN  - other warn\n",
       "",
       "DEBUG - x.Units debug\nWARN  - x.Units warn\n"
       "DEBUG - x.Config debug\nWARN  - x.Config warn\n"},
      {"an output alone is not read", {{"OSTREL_LOG_OUTPUT", first.c_str()}}, plain, "", ""},
      {"an empty output is one",
       {{"OSTREL_LOG_PRIORITY", "x.units"}, {"OSTREL_LOG_OUTPUT", ""}},
       others,
       "",
       ""},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.name);
    write_file(first, c.first.empty() ? "" : "before\n");
    write_file(second, "");
    EXPECT_EQ(run_child("speak", {}, c.environment).err, c.err);
    EXPECT_EQ(read_file(first), c.first);
    EXPECT_EQ(read_file(second), c.second);
  }
}

Role const first_use("first-use", [](Role::Arguments const &) {
  constexpr int THREADS = 8;
  std::atomic<int> waiting{THREADS};
  in_threads(THREADS, [&waiting](int) {
    for (--waiting; waiting > 0;) { // all begin at once, or the race is not run
    }
    LoggingCategory::get_instance("x.Units").debug("line");
  });
  return 0;
});

TEST(LoggingSetup, ManyThreadsMayComeFirst) {
  std::string expected;
  for (int i = 0; i < 8; ++i) {
    expected += "DEBUG - line\n";
  }
  EXPECT_EQ(run_child("first-use", {}, {{"OSTREL_LOG_PRIORITY", "x.units"}}).err, expected);
}

// Logs at the very end of a child that asks for it, in the order in which a program comes down.
class LateCaller {
public:
  ~LateCaller() {
    if (category != nullptr) {
      category->warn("static object: %d", LoggingCategory::get_instance("new").warn("new"));
    }
  }
  LoggingCategory *category = nullptr;
};

LateCaller late_caller;

// An output that is deleted by the teardown, when nothing may come back to life any more.
class LastWords : public LoggingOutputImpl {
public:
  ~LastWords() override {
    LoggingCategory &old = *late_caller.category, &late = LoggingCategory::get_instance("late");
    old.set_priority(LoggingPriority::VERBOSE);
    LoggingCategory::set_root_priority(LoggingPriority::VERBOSE);
    late.set_logging_output(new (std::nothrow) FileLoggingOutput("/dev/null"));
    bool const is_silent = !old.fatal("no") && !late.fatal("no") && !old.fatal_enabled() &&
                           !LoggingCategory::get_root_category().fatal("no");
    std::printf("%s %s", old.get_category_name(), is_silent ? "silent" : "speaks");
    std::fflush(stdout);
  }
};

Role const late("late", [](Role::Arguments const &arguments) {
  late_caller.category = &LoggingCategory::get_instance("Old");
  LoggingCategory::get_instance("last.words").set_logging_output(new LastWords);
  std::atexit([] { late_caller.category->warn("exit handler"); });
  if (!arguments.empty()) {
    std::thread([] {
      for (;;) {
        late_caller.category->error("busy");
      }
    }).detach();
  }
  return 0;
});

TEST(LoggingTeardown, LateCallsAreWrittenAndLaterOnesDropped) {
  ChildResult const result = run_child("late");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "WARN  - exit handler\nWARN  - new\nWARN  - static object: 1\n");
  EXPECT_EQ(result.out, "old silent");
}

TEST(LoggingTeardown, AThreadMayGoOnLogging) {
  ChildResult const result = run_child("late", {"busy"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "old silent");
}

class ExitingLayout : public ILoggingLayout {
public:
  std::string format(LoggingEvent const &) override { std::exit(3); }
};

Role const exit_in_layout("exit-in-layout", [](Role::Arguments const &) {
  LoggingCategory &category = LoggingCategory::get_instance("a");
  category.set_logging_output(new LoggingOutputImpl(new ExitingLayout));
  category.fatal("the end");
  return 0;
});

TEST(LoggingTeardown, ALayoutMayEndTheProcess) {
  EXPECT_EQ(run_child("exit-in-layout").status, 3);
}

// Nothing is lost but what there is no memory for, and no call fails in another way.
Role const without_memory("without-memory", [](Role::Arguments const &arguments) {
  fail_allocation(std::atoi(arguments[0].c_str()));
  LoggingCategory &category = LoggingCategory::get_instance("A.category.with.a.long.name");
  category.warn("a message that is too long for the string's own buffer");
  bool const has_failed = stop_failing();
  LoggingCategory::get_instance("A.category.with.a.long.name").warn("second");
  return has_failed ? 0 : 1;
});

TEST(LoggingSetup, LivesWithoutMemory) {
  int allocation = 0;
  for (int status = 0; status == 0; ++allocation) {
    SCOPED_TRACE(allocation);
    ChildResult const result = run_child("without-memory", {std::to_string(allocation)},
                                         {{"OSTREL_LOG_PRIORITY", "a,info;b"}});
    status = result.status;
    ASSERT_TRUE(status == 0 || status == 1);
    if (allocation == 0) {
      EXPECT_EQ(result.err, "WARN: Failed to set up logging.\n");
    }
    if (status == 1) {
      EXPECT_EQ(result.err, "WARN  - a message that is too long for the string's own buffer\n"
                            "WARN  - second\n");
    }
  }
  EXPECT_GT(allocation, 5);
}

} // namespace
