// SPDX-License-Identifier: Apache-2.0
// Each child process makes all calls of the scenario while the n-th allocation fails, alone or with
// all after it. Then it makes them again with enough memory.
#include "core/base/logging/LoggingCategory.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/allocations/Scenario.hpp"
#include "torture/support/FailingMalloc.hpp"
#include "torture/support/Torture.hpp"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using FailingMalloc::Failures;
using Ostrel::LoggingCategory;

constexpr unsigned int LONGEST_CHILD_S = 20;

// Blocks that other libraries keep after an allocation inside this function failed.
struct Kept {
  char const *function;
  long blocks;
};

constexpr Kept KEPT_BY_OTHERS[] = {
    {"xmlParseReference", 2},         // lost: the node that could not be copied, and its text
    {"xmlNewCharEncodingHandler", 5}, // the C library's conversion in place of the missing one
};

long kept_by_others() {
  for (Kept const &kept : KEPT_BY_OTHERS) {
    if (FailingMalloc::has_failed_first_in(kept.function)) {
      return kept.blocks;
    }
  }
  return 0;
}

unsigned int faults = 0; // in this process

void report(char const *call, char const *fault) {
  faults += 1;
  std::printf("'%s' %s\n", call, fault);
}

// Classes that log nothing unless a call fails: memory that logging keeps is not a leak.
void make_rare_categories() {
  for (char const *name : {"EnvironmentSetup", "TestUtils", "Win32Mutex"}) {
    LoggingCategory::get_instance((std::string("Ostrel.Core.Base.") + name).c_str());
  }
}

// Makes a call, and checks its outcome, which may differ only if an allocation failed.
bool make(Call const &call) {
  unsigned long const failed_before = FailingMalloc::failed();
  Outcome outcome = Outcome::WRONG;
  try {
    outcome = call.make();
  } catch (...) {
    report(call.name, "let an exception out");
    return false;
  }
  bool const has_failed = FailingMalloc::failed() != failed_before;
  if (outcome == Outcome::WRONG) {
    report(call.name, has_failed ? "did wrong without memory" : "did wrong with memory");
  } else if (outcome == Outcome::REFUSED && !has_failed) {
    report(call.name, "was refused with memory");
  } else if (outcome == Outcome::RIGHT && !has_failed) {
    return true;
  }
  return false;
}

// Arguments: the directory, ONE or ALL, and the number of the allocation. Prints the faults, then
// the number of allocations that could have failed and the number of blocks held.
Role const make_calls("make-calls", [](Role::Arguments const &arguments) {
  alarm(LONGEST_CHILD_S);
  set_scenario_directory(arguments[0]);
  Failures const failures = arguments[1] == "ONE"   ? Failures::ONE
                            : arguments[1] == "ALL" ? Failures::ALL
                                                    : Failures::NONE;
  FailingMalloc::plan(failures, std::strtoul(arguments[2].c_str(), nullptr, 10));
  for (Call const &call : scenario()) {
    bool const is_repeated = !make(call) && failures == Failures::ONE;
    if (is_repeated) {
      make(call);
    }
  }
  unsigned long const strained = FailingMalloc::strained();
  FailingMalloc::plan(Failures::NONE, 0);
  for (Call const &call : scenario()) {
    make(call);
  }
  make_rare_categories();
  long const held =
      FailingMalloc::held() - kept_by_others() - static_cast<long>(kept_environments());
  if (faults > 0) {
    std::printf("when this failed:\n");
    std::fflush(stdout);
    FailingMalloc::show_first_failure(STDOUT_FILENO);
  }
  std::printf("%lu %lu %ld\n", FailingMalloc::strained_at_load(), strained, held);
  return 0;
});

struct Result {
  std::string faults;
  unsigned long strained_at_load = 0;
  unsigned long strained = 0;
  long held = 0;
};

// Reports messages that are untrue: the files that they miss exist.
char const *find_untrue(std::string const &err) {
  for (char const *text : {"Unable to parse alias", "\\robot.xml", "\\latin.xml", "\\camera.xml",
                           "\\user-config.xml"}) {
    if (err.find(text) != std::string::npos) {
      return text;
    }
  }
  return nullptr;
}

// Which allocations fail: those during the load of the library, or those during its use.
struct Plan {
  bool is_at_load;
  std::string failures; // NONE, ONE or ALL
  unsigned long count;

  std::string text() const { return failures + ' ' + std::to_string(count); }
};

Result run(Plan const &plan) {
  TemporaryDirectory const directory;
  write_scenario_files(directory.path());
  std::string const registry = directory.path("registry.reg"),
                    log = directory.path("configured.log");
  std::string const at_load = plan.is_at_load ? plan.text() : "NONE 0";
  ChildResult const child = run_child(
      "make-calls",
      {directory.path(), plan.is_at_load ? "NONE" : plan.failures, std::to_string(plan.count)},
      {{"OSTREL_CONFIG_PATH", directory.path().c_str()},
       {"OSTREL_REGISTRY_FILE", registry.c_str()},
       {"OSTREL_LOG_PRIORITY", "Torture.Unused.Category,WARN;Torture.Configured,DEBUG"},
       {"OSTREL_LOG_OUTPUT", log.c_str()},
       {"OVRA_LOG_TIMESTAMP", "YES"},
       {"TZ", "LOC-5:30"},
       {"srcdir", "/a/directory/of/sources"},
       {FailingMalloc::AT_LOAD, at_load.c_str()}});
  Result result;
  std::size_t const end = child.out.find_last_of('\n', child.out.size() - 2);
  std::size_t const last = end == std::string::npos ? 0 : end + 1;
  bool const is_whole = std::sscanf(child.out.c_str() + last, "%lu %lu %ld",
                                    &result.strained_at_load, &result.strained, &result.held) == 3;
  result.faults = child.out.substr(0, last);
  if (child.status != 0 || !is_whole) {
    result.faults += "ended with status " + std::to_string(child.status) + ": " + child.err + "\n";
  }
  if (char const *const untrue = find_untrue(child.err); untrue != nullptr) {
    result.faults += std::string("said untruly: ") + untrue + "\n";
  }
  return result;
}

std::vector<Plan> make_plans(Result const &whole) {
  unsigned long const step = 1000 / rounds(1000);
  std::vector<Plan> plans;
  for (char const *failures : {"ONE", "ALL"}) {
    for (unsigned long count = 0; count < whole.strained_at_load; count += step) {
      plans.push_back({true, failures, count});
    }
    for (unsigned long count = 0; count < whole.strained; count += step) {
      plans.push_back({false, failures, count});
    }
  }
  return plans;
}

void judge(Torture &torture, Plan const &plan, Result const &result, Result const &whole) {
  char const *const when = plan.is_at_load ? " at load" : "";
  if (!result.faults.empty()) {
    torture.fault("%s%s: %s", plan.text().c_str(), when, result.faults.c_str());
  } else if (result.held > whole.held) {
    torture.fault("%s%s: %ld blocks leaked", plan.text().c_str(), when, result.held - whole.held);
  }
}

} // namespace

int torture() {
  Torture torture("Every operation survives a failed allocation");
  setenv("TMPDIR", "/dev/shm", 1); // saves need not wait for a disk
  Result const whole = run({false, "NONE", 0});
  if (!whole.faults.empty()) {
    torture.fault("with all memory: %s", whole.faults.c_str());
    return torture.row("nothing");
  }
  std::vector<Plan> const plans = make_plans(whole);
  std::atomic<std::size_t> next = 0;
  auto const work = [&] {
    for (std::size_t i = next++; i < plans.size(); i = next++) {
      judge(torture, plans[i], run(plans[i]), whole);
    }
  };
  std::thread second(work);
  work();
  second.join();
  return torture.row("%zu calls, in each of %zu processes with another allocation failing, of n = "
                     "%lu at load and %lu in use, alone or with all after it",
                     scenario().size(), plans.size(), whole.strained_at_load, whole.strained);
}
