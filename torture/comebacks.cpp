// SPDX-License-Identifier: Apache-2.0
// Each step of the first use of a subsystem fails for lack of descriptors, memory, disk space or
// permissions. The same calls, made again in the same process without the shortage, then succeed on
// the right file, and the effects of earlier successes remain.
//
// Each round runs in a process forked from this one, which never uses these subsystems.
#include "tests/support/Files.hpp"
#include "torture/comebacks/Scenario.hpp"
#include "torture/support/FailingMalloc.hpp"
#include "torture/support/SystemCalls.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned int LONGEST_ROUND_S = 20;
constexpr unsigned int NEVER = std::numeric_limits<unsigned int>::max();

// --- Failures ---------------------------------------------------------------------------------

bool is_one_of(int number, std::initializer_list<int> numbers) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool opens(SystemCall const &call) {
  return call.number == SYS_openat;
}

bool makes_descriptor(SystemCall const &call) {
  return opens(call) || (call.number == SYS_fcntl && call.arguments[1] == F_DUPFD_CLOEXEC);
}

bool needs_room(SystemCall const &call) {
  return opens(call) ? (call.arguments[2] & O_CREAT) != 0
                     : is_one_of(call.number, {SYS_write, SYS_pwrite64, SYS_fsync, SYS_ftruncate,
                                               SYS_fsetxattr, SYS_mkdir, SYS_rename, SYS_renameat});
}

// According to POSIX.1-2017 the others do not fail with these errors.
bool can_fail(SystemCall const &call) {
  return !is_one_of(call.number, {SYS_getuid, SYS_geteuid, SYS_getgid, SYS_getegid, SYS_umask});
}

struct Shortage {
  char const *name;
  int error;
  bool (*strikes)(SystemCall const &call); // null: allocations fail instead of system calls
};

constexpr Shortage SHORTAGES[] = {
    {"EMFILE", EMFILE, makes_descriptor}, {"ENFILE", ENFILE, makes_descriptor},
    {"ENOMEM", ENOMEM, can_fail},         {"EIO", EIO, can_fail},
    {"ENOSPC", ENOSPC, needs_room},       {"EACCES", EACCES, opens},
    {"lack of memory", 0, nullptr}};

// The step that fails: the one after `count` others that the shortage affects.
struct Plan {
  Shortage const &shortage;
  unsigned int count;
  bool lasts; // all later steps of the first use fail as well
};

// @return the number of failed steps.
template <class Action> unsigned int run_short(Plan const &plan, Action const &action) {
  if (plan.shortage.strikes == nullptr) {
    using FailingMalloc::Failures;
    FailingMalloc::plan(plan.lasts ? Failures::ALL : Failures::ONE, plan.count);
    FailingMalloc::strain(action);
    FailingMalloc::plan(Failures::NONE, 0);
    return static_cast<unsigned int>(FailingMalloc::failed());
  }
  unsigned int struck = 0, failed = 0;
  judge_system_calls(action, [&](unsigned int, SystemCall const &call) {
    if (!plan.shortage.strikes(call)) {
      return Verdict();
    }
    unsigned int const index = struck++;
    bool const fails = plan.lasts ? index >= plan.count : index == plan.count;
    failed += fails ? 1 : 0;
    return Verdict{fails ? plan.shortage.error : 0, false};
  });
  return failed;
}

// --- One round --------------------------------------------------------------------------------

// The report of a round, in memory that its process shares with this one.
struct Report {
  unsigned int failed;
  std::ptrdiff_t descriptors; // open at the end
  char fault[256];            // the first; empty for none
};

Report *const report =
    static_cast<Report *>(mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE,
                               MAP_SHARED | MAP_ANONYMOUS, /*fd=*/-1, /*offset=*/0));

struct Kind {
  char const *name;
  std::unique_ptr<Scenario> (*make)(std::string const &directory, int error);
};

void play(Kind const &kind, Plan const &plan, std::string const &directory) {
  alarm(LONGEST_ROUND_S);
  std::freopen("/dev/null", "w", stderr); // for the library's warnings
  auto const scenario = kind.make(directory, plan.shortage.error);
  report->failed = run_short(plan, [&] { scenario->use(); });
  scenario->use_again();
  report->descriptors = count_entries("/proc/self/fd");
}

// --- All rounds -------------------------------------------------------------------------------

constexpr Kind KINDS[] = {
    {"settings", make_settings}, {"settings by the registry", make_registry_settings},
    {"logs", make_log},          {"named mutexes", make_mutexes},
    {"libraries", make_library}, {"directories", make_lists}};

// @return the report of the round's process.
Report run_round(Torture &torture, Kind const &kind, Plan const &plan) {
  TemporaryDirectory const directory;
  *report = {};
  pid_t const process = fork();
  if (process == 0) {
    play(kind, plan, directory.path());
    std::exit(0);
  }
  int status = 0;
  waitpid(process, &status, 0);
  bool const has_ended_well = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (!has_ended_well || report->fault[0] != '\0') {
    torture.fault("%s, %s at step %u%s: %s, wait status %d", kind.name, plan.shortage.name,
                  plan.count, plan.lasts ? " and later" : "", report->fault, status);
  }
  return *report;
}

struct Done {
  unsigned int processes = 0;
  unsigned long failures = 0;
};

// Makes each step of a first use fail in that way; in the quick run every hundredth.
void fail_each_step(Torture &torture, Kind const &kind, Plan plan, Done *done) {
  std::ptrdiff_t const descriptors =
      run_round(torture, kind, {plan.shortage, NEVER, false}).descriptors;
  unsigned int const stride = 100 / rounds(100);
  plan.count = done->processes % stride;
  for (Report outcome = run_round(torture, kind, plan); outcome.failed > 0;
       outcome = run_round(torture, kind, plan)) {
    if (outcome.descriptors != descriptors) {
      torture.fault("%s, %s at step %u%s: %td descriptors, not %td", kind.name, plan.shortage.name,
                    plan.count, plan.lasts ? " and later" : "", outcome.descriptors, descriptors);
    }
    done->processes += 1;
    done->failures += outcome.failed;
    plan.count += stride;
  }
}

// Without permission to open the registry the build-time default is used.
bool leads_elsewhere(Kind const &kind, Shortage const &shortage) {
  return shortage.error == EACCES && kind.make == make_registry_settings;
}

} // namespace

bool require(bool holds, char const *what) {
  if (!holds && report->fault[0] == '\0') {
    std::snprintf(report->fault, sizeof report->fault, "%s", what);
  }
  return holds;
}

unsigned int failed_steps() {
  return report->failed;
}

int torture() {
  Torture torture("Operations succeed after a shortage");
  setenv("TMPDIR", "/dev/shm", 1); // saves need not wait for a disk
  Done done;
  for (Kind const &kind : KINDS) {
    for (Shortage const &shortage : SHORTAGES) {
      for (bool const lasts : {false, true}) {
        if (!leads_elsewhere(kind, shortage)) {
          fail_each_step(torture, kind, {shortage, 0, lasts}, &done);
        }
      }
    }
  }
  return torture.row(
      "%lu failures (EMFILE, ENFILE, ENOMEM, EIO, ENOSPC, EACCES, lack of memory) in "
      "the first use of settings, logs, named mutexes, libraries and directories, in %u processes",
      done.failures, done.processes);
}
