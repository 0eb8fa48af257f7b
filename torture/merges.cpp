// SPDX-License-Identifier: Apache-2.0
// Eight processes commit settings of their own to one file without pause; then once more, while
// they are killed at random and started again. Every commit that returned is in the file.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr unsigned int PROCESSES = 8;
constexpr unsigned int KILLS_PER_CHECK = 10; // a check reads thousands of settings

// The number of commits of each process that have returned, in memory that the processes share.
using Progress = std::array<std::atomic<unsigned int>, PROCESSES>;

Progress &make_progress() {
  void *const shared =
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) {
    std::abort();
  }
  return *new (shared) Progress();
}

std::string value_name(unsigned int number) {
  return "n" + std::to_string(number);
}

std::string key_of(unsigned int process) {
  return "UserConfig/P" + std::to_string(process);
}

// Commits one new setting after another, from the first that is not counted yet.
[[noreturn]] void commit_settings(unsigned int process, unsigned int commits, Progress &progress) {
  for (unsigned int number = progress[process]; number < commits; ++number) {
    std::string const key = key_of(process) + "/" + value_name(number);
    if (UserConfig::set_user_config(key.c_str(), std::to_string(number).c_str(), true) !=
        RESULT_SUCCESS) {
      _exit(EXIT_FAILURE);
    }
    progress[process] = number + 1;
  }
  _exit(EXIT_SUCCESS);
}

class Round {
public:
  Round(Torture &torture, char const *name, unsigned int commits)
      : torture_(torture), name_(name), commits_(commits), progress_(make_progress()) {
    write_file(path(), "<UserConfig/>");
    setenv("OSTREL_CONFIG_PATH", directory_.path().c_str(), 1);
  }
  Round(Round const &) = delete;
  Round &operator=(Round const &) = delete;
  ~Round() { munmap(&progress_, sizeof(Progress)); }

  void start(unsigned int process) {
    children_[process] = fork();
    if (children_[process] == 0) {
      commit_settings(process, commits_, progress_);
    }
  }

  // @return whether the process was killed; false if it had ended before.
  bool kill_process(unsigned int process) {
    kill(children_[process], SIGKILL);
    int status = 0;
    waitpid(children_[process], &status, 0);
    children_[process] = 0;
    if (WIFEXITED(status) && WEXITSTATUS(status) != EXIT_SUCCESS) {
      torture_.fault("%s: a commit failed", name_);
    }
    return WIFSIGNALED(status);
  }

  void wait_for_all() {
    for (pid_t &child : children_) {
      int status = 0;
      if (child != 0 && (waitpid(child, &status, 0) != child || status != EXIT_SUCCESS)) {
        torture_.fault("%s: a commit failed", name_);
      }
      child = 0;
    }
  }

  // The file must hold each commit that has returned.
  void check() {
    std::array<unsigned int, PROCESSES> returned{};
    for (unsigned int process = 0; process < PROCESSES; ++process) {
      returned[process] = progress_[process];
    }
    XmlConfigSource source;
    Configuration configuration(source);
    if (configuration.init_source(path().c_str()) != RESULT_SUCCESS) {
      torture_.fault("%s: the file does not load", name_);
      return;
    }
    for (unsigned int process = 0; process < PROCESSES; ++process) {
      for (unsigned int number = 0; number < returned[process]; ++number) {
        std::string text;
        configuration.get_value(key_of(process).c_str(), value_name(number).c_str(), &text);
        if (text != std::to_string(number)) {
          torture_.fault("%s: commit %u of process %u is '%s'", name_, number, process,
                         text.c_str());
        }
      }
    }
  }

  bool is_complete() const {
    unsigned int done = 0;
    for (std::atomic<unsigned int> const &count : progress_) {
      done += count;
    }
    return done == PROCESSES * commits_;
  }

private:
  std::string path() const { return directory_.path("user-config.xml"); }

  Torture &torture_;
  char const *name_;
  unsigned int commits_; // of each process
  TemporaryDirectory directory_;
  Progress &progress_;
  std::array<pid_t, PROCESSES> children_{};
};

void run_without_kills(Torture &torture, unsigned int commits) {
  Round round(torture, "without kills", commits);
  for (unsigned int process = 0; process < PROCESSES; ++process) {
    round.start(process);
  }
  round.wait_for_all();
  round.check();
  if (!round.is_complete()) {
    torture.fault("not every process has made all its commits");
  }
}

// @return the number of kills.
unsigned int run_with_kills(Torture &torture, unsigned int commits) {
  Round round(torture, "with kills", commits);
  std::minstd_rand random(1); // the same in each run
  unsigned int kills = 0;
  for (unsigned int process = 0; process < PROCESSES; ++process) {
    round.start(process);
  }
  while (!round.is_complete()) {
    auto const process = static_cast<unsigned int>(random() % PROCESSES);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    kills += round.kill_process(process) ? 1 : 0;
    if (kills % KILLS_PER_CHECK == 0) {
      round.check();
    }
    round.start(process);
  }
  round.wait_for_all();
  round.check();
  return kills;
}

} // namespace

int torture() {
  Torture torture("No commit is lost");
  unsigned int const commits = rounds(1000);
  run_without_kills(torture, commits);
  unsigned int const kills = run_with_kills(torture, commits);
  return torture.row("%u processes, %u commits each to one file; the same with %u kills", PROCESSES,
                     commits, kills);
}
