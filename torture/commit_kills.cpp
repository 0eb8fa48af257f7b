// SPDX-License-Identifier: Apache-2.0
// A process is killed while it commits: at random times, and then before each of its system calls.
// Between two calls nothing changes on the disk, so a kill after a call equals one before the next.
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/SystemCalls.hpp"
#include "torture/support/Torture.hpp"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr char KEY[] = "UserConfig/K/v";
constexpr unsigned int KILLS_PER_COMMIT = 10; // at most

// The settings file, and the progress that killed processes have reported.
class Settings {
public:
  Settings() {
    write_file(path(), "<UserConfig><K v=\"" + text(0) + "\"/></UserConfig>");
    setenv("OSTREL_CONFIG_PATH", directory_.path().c_str(), 1);
    void *const shared = mmap(nullptr, sizeof(std::atomic<unsigned int>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
      std::abort();
    }
    committed_ = new (shared) std::atomic<unsigned int>(0);
  }

  // The text of that number. No two texts have a part or their length in common.
  static std::string text(unsigned int number) {
    std::string result;
    while (result.size() < 1000 + number % 20000) {
      result += std::to_string(number) + ",";
    }
    return result;
  }

  bool commit(unsigned int number) {
    return UserConfig::set_user_config(KEY, text(number).c_str(), true) == RESULT_SUCCESS;
  }

  // The number of the last commit that returned.
  unsigned int committed() const { return *committed_; }
  void set_committed(unsigned int number) { *committed_ = number; }

  // Whether the file loads with the text of the last commit or of the next one, which then becomes
  // the last.
  bool is_whole() {
    XmlConfigSource source;
    std::string ignored, found;
    if (source.init_source(path().c_str()) != RESULT_SUCCESS) {
      return false;
    }
    void const *const key = source.find_first(source.find_first(nullptr, &ignored), &ignored);
    void const *const value = source.find_first_value(key, &ignored, &found);
    source.find_next_value(value, &ignored, &found);
    if (found == text(committed() + 1)) {
      set_committed(committed() + 1);
    }
    return found == text(committed());
  }

  // Removes the temporary files of killed processes.
  // @return their number.
  unsigned int remove_temporary_files() {
    unsigned int count = 0;
    for (auto const &entry : std::filesystem::directory_iterator(directory_.path())) {
      count += entry.path().filename() != "user-config.xml" && remove(entry.path()) ? 1 : 0;
    }
    return count;
  }

private:
  std::string path() const { return directory_.path("user-config.xml"); }

  TemporaryDirectory directory_;
  std::atomic<unsigned int> *committed_;
};

// Runs `action` in a new process.
template <class Action> pid_t start(Action action) {
  pid_t const child = fork();
  if (child == 0) {
    action();
    _exit(EXIT_SUCCESS);
  }
  return child;
}

// Waits for the end of a process.
// @return whether it was killed.
bool was_killed(pid_t child, int *status) {
  waitpid(child, status, 0);
  return WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL;
}

[[noreturn]] void commit_without_pause(Settings &settings) {
  for (;;) {
    unsigned int const number = settings.committed() + 1;
    if (!settings.commit(number)) {
      _exit(EXIT_FAILURE);
    }
    settings.set_committed(number);
  }
}

// Kills this process before the system call after `count` others.
void commit_until_killed(Settings &settings, unsigned int count) {
  unsigned int const number = settings.committed() + 1;
  bool is_committed = false;
  judge_system_calls([&] { is_committed = settings.commit(number); },
                     [count](unsigned int index, SystemCall const &) {
                       if (index == count) {
                         kill(getpid(), SIGKILL);
                       }
                       return Verdict();
                     });
  if (!is_committed) {
    _exit(EXIT_FAILURE);
  }
  settings.set_committed(number);
}

} // namespace

int torture() {
  Torture torture("Killed while committing");
  Settings settings;
  auto const judge = [&](bool holds, char const *when, unsigned int number) {
    if (!holds || !settings.is_whole()) {
      torture.fault("%s %u: the file does not hold commit %u or the next", when, number,
                    settings.committed());
    }
  };
  std::minstd_rand random(1); // the same in each run
  int status = 0;
  unsigned int const kills = rounds(1000);
  unsigned int left = 0; // temporary files
  for (unsigned int i = 0; i < kills; ++i) {
    if (i % 20 == 0) { // with more files to scan, a save is rarely reached before the kill
      left += settings.remove_temporary_files();
    }
    pid_t const child = start([&] { commit_without_pause(settings); });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    kill(child, SIGKILL);
    judge(was_killed(child, &status), "kill", i);
  }
  unsigned int const commits = settings.committed();
  left += settings.remove_temporary_files();
  if (commits < kills / KILLS_PER_COMMIT) {
    torture.fault("%u commits only: the kills met none", commits);
  }
  unsigned int calls = 0;
  while (was_killed(start([&] { commit_until_killed(settings, calls); }), &status)) {
    judge(true, "kill before system call", calls);
    left += settings.remove_temporary_files();
    ++calls;
  }
  judge(status == EXIT_SUCCESS && calls > 0, "no kill before system call", calls);
  return torture.row("%u kills in %u commits, and one at each of the %u system calls of a commit; "
                     "%u temporary files left behind",
                     kills, commits, calls, left);
}
