// SPDX-License-Identifier: Apache-2.0
// What happens once per process: the set-up by the first call, and the teardown.
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/ILoggingLayout.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingTimeStamp.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>

using namespace Ostrel;

namespace {

TEST(LoggingSpec, EachEntryLeadsToTheNext) {
  constexpr unsigned int NPOS = LoggingCategory::npos;
  struct {
    unsigned int position, next;
    std::string parts;
  } const cases[] = {{0, 2, "a/"},     {1, 2, "/"},     {2, 10, "b/IN,FO"},
                     {10, NPOS, "c/"}, {11, NPOS, "/"}, {NPOS, NPOS, "/"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.position);
    std::string const text = "a;b,IN,FO;c";
    std::string category = "stale", priority = "stale";
    EXPECT_EQ(LoggingCategory::parse_logging_spec(text, c.position, &category, &priority), c.next);
    EXPECT_EQ(category + "/" + priority, c.parts);
    EXPECT_EQ(LoggingCategory::parse_logging_spec(text, c.position, nullptr, nullptr), c.next);
  }
}

Role const speak("speak", [](Role::Arguments const &) {
  for (char const *name : {"x.U", "x.C", "o"}) {
    LoggingCategory::get_instance(name).debug("%s", name);
    LoggingCategory::get_instance(name).warn("%s", name);
  }
  return 0;
});

TEST(LoggingSetup, FollowsTheEnvironment) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("log");
  char const *const file = path.c_str();
  constexpr char const *NOT_SET = nullptr;
  std::string const DU = "DEBUG - x.U\n", WU = "WARN  - x.U\n", DC = "DEBUG - x.C\n",
                    WC = "WARN  - x.C\n", WO = "WARN  - o\n";
  struct {
    char const *priority, *second_priority, *output, *second_output;
    std::string console, log;
  } const cases[] = {
      {NOT_SET, NOT_SET, NOT_SET, NOT_SET, WU + WC + WO, ""},
      {"X.u,DEBUG", NOT_SET, NOT_SET, NOT_SET, DU + WU + WC + WO, ""},
      {NOT_SET, "x.u", NOT_SET, NOT_SET, DU + WU + WC + WO, ""}, // no priority means DEBUG
      {NOT_SET, "x,ERROR;x.u,dEbUg", NOT_SET, NOT_SET, DU + WU + WO, ""},
      {"x,FATAL;x.u,WARN ", NOT_SET, NOT_SET, NOT_SET, WO, ""}, // an unknown priority inherits
      {"x,debug;;o,FATAL", NOT_SET, NOT_SET, NOT_SET, DU + WU + DC + WC + WO, ""},
      {"", "x.u", NOT_SET, NOT_SET, WU + WC + WO, ""}, // the first variable wins
      {"x.u;o,warn", NOT_SET, NOT_SET, file, WC, DU + WU + WO},
      {NOT_SET, "x", file, NOWHERE, WO, DU + WU + DC + WC}, // here too
      {NOT_SET, NOT_SET, file, NOT_SET, WU + WC + WO, ""},  // an output alone has no effect
      {"x.u", NOT_SET, "", file, WC + WO, ""}};
  for (auto const &c : cases) {
    SCOPED_TRACE(&c - cases);
    write_file(path, "");
    Environment const environment = {{"OSTREL_LOG_PRIORITY", c.priority},
                                     {"OVRA_LOG_PRIORITY", c.second_priority},
                                     {"OSTREL_LOG_OUTPUT", c.output},
                                     {"OVRA_LOG_OUTPUT", c.second_output}};
    EXPECT_EQ(run_child("speak", {}, environment).err, c.console);
    EXPECT_EQ(read_file(path), c.log);
  }
}

Role const tell_priorities("tell-priorities", [](Role::Arguments const &names) {
  std::printf("%d: ", LoggingTimeStamp().get_time()); // the first of the process
  for (std::string const &name : names) {
    std::printf("%d ", LoggingCategory::get_instance(name.c_str()).get_priority());
  }
  return 0;
});

TEST(LoggingSetup, ParsesEachPriorityName) {
  Environment const environment = {{"OSTREL_LOG_PRIORITY",
                                    "a;b,;c,fatal;d,Error;e,WARN;f,inFO;g,Trace;h,dEBUG;i,VerBOSE;"
                                    "j,DISABLED;k,NOT SET;l,WAR;m,WARN,;n,400"}};
  ChildResult const result = run_child(
      "tell-priorities", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m", "n"},
      environment);
  EXPECT_EQ(result.out, "1: 500 500 100 200 300 400 450 500 600 1000 1000 1000 1000 1000 ");
}

Role const postfixed("postfixed", [](Role::Arguments const &) {
  set_variable("OVRA_LOG_TIMESTAMP", "YES"); // too late: read at load
  LoggingCategoryPostfixed(&LoggingCategory::get_instance("a.B")).warn("m");
  return 0;
});

TEST(LoggingSetup, EnvironmentEnablesTimeStamps) {
  std::pair<char const *, bool> const cases[] = {{"True", true}, {"Yes", true},   {"1", false},
                                                 {"ON", false},  {"YE", false},   {"YESS", false},
                                                 {"", false},    {nullptr, false}};
  for (auto const &[value, has_time] : cases) {
    // Windows has no time zones of this form.
    Environment const environment = {{"OVRA_LOG_TIMESTAMP", value},
                                     {"TZ", ON_WINDOWS ? nullptr : "XYZ-03:30"}};
    constexpr std::time_t AHEAD = 12600; // seconds, offset of that zone
    std::time_t const first = std::time(nullptr);
    std::string const line = run_child("postfixed", {}, environment).err;
    std::set<std::string> expected;
    for (std::time_t time = first; has_time && time <= std::time(nullptr); ++time) {
      std::time_t const shifted = time + AHEAD;
      char text[] = "WARN  - 00:00:00  m [b]\n";
      std::strftime(text, sizeof text, "WARN  - %H:%M:%S  m [b]\n",
                    ON_WINDOWS ? std::localtime(&time) : std::gmtime(&shifted));
      expected.insert(text);
    }
    if (!has_time) {
      expected.insert("WARN  - m [b]\n");
    }
    EXPECT_EQ(expected.count(line), 1U) << line;
  }
}

constexpr int THREADS = 8;

Role const first_use("first-use", [](Role::Arguments const &) {
  std::atomic<int> waiting{THREADS};
  LoggingCategory *categories[THREADS] = {};
  in_threads(THREADS, [&](int thread) {
    for (--waiting; waiting > 0;) { // so that all are there before the set-up
    }
    categories[thread] = &LoggingCategory::get_instance("x.Units");
    categories[thread]->debug("line");
  });
  return std::count(categories, categories + THREADS, categories[0]) == THREADS ? 0 : 1;
});

TEST(LoggingSetup, ThreadsRaceToSetItUp) {
  ChildResult const result = run_child("first-use", {}, {{"OSTREL_LOG_PRIORITY", "x.units"}});
  EXPECT_EQ(result.status, 0) << "not all threads have the same category";
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), THREADS);
}

LoggingCategory *old = nullptr;       // in a child that tests its teardown
std::string &lost = *new std::string; // never destroyed

// Called by the teardown: nothing may create a working category or output any more.
void last_words() {
  LoggingCategory &made = LoggingCategory::get_instance("made");
  old->set_priority(LoggingPriority::VERBOSE);
  LoggingCategory::set_root_priority(LoggingPriority::VERBOSE);
  made.set_logging_output(new FileLoggingOutput(NOWHERE));
  bool const is_silent = !old->fatal("no") && !made.fatal("no") && !old->fatal_enabled() &&
                         !LoggingCategory::get_root_category().fatal("no");
  std::printf("%s %s", old->get_category_name(), is_silent ? "silent" : "speaks");
  std::fflush(stdout);
}

Role const late("late", [](Role::Arguments const &) {
  for (int i = 0; i < 10000; ++i) { // more than fit into the static arena
    LoggingCategory::get_instance(("of.many." + std::to_string(i)).c_str());
  }
  old = &LoggingCategory::get_instance("Old");
  LoggingCategory::get_instance("last.words")
      .set_logging_output(new RecordingOutput(&lost, last_words));
  static struct StaticObject {
    ~StaticObject() { old->warn("static: %d", LoggingCategory::get_instance("new").warn("new")); }
  } const static_object;
  std::atexit([] { old->warn("exit handler"); });
  return 0;
});

TEST(LoggingTeardown, ExitHandlersStillLogAndLaterCallsAreDropped) {
  ChildResult const result = run_child("late");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "WARN  - exit handler\nWARN  - new\nWARN  - static: 1\n");
  EXPECT_EQ(result.out, "old silent");
}

// Ends the process. The teardown must not delete the layout.
class LastLayout : public ILoggingLayout {
public:
  ~LastLayout() override { std::_Exit(2); }
  std::string format(LoggingEvent const &) override { std::exit(0); }
};

Role const exit_in_layout("exit-in-layout", [](Role::Arguments const &) {
  LoggingCategory &root = LoggingCategory::get_root_category();
  root.set_logging_output(new LoggingOutputImpl(new LastLayout));
  root.fatal("the end");
  return 1;
});

TEST(LoggingTeardown, ALayoutMayEndTheProcess) {
  EXPECT_EQ(run_child("exit-in-layout").status, 0);
}

} // namespace
