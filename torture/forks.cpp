// SPDX-License-Identifier: Apache-2.0
// A process forks while its threads log, read and load settings. The child has a copy of what the
// threads were changing, but not the threads.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned int CHILD_LIMIT_S = 10; // a child that needs longer hangs
constexpr unsigned int PARENT_LIMIT_S = 60;
constexpr double LONGEST_FORK_MS = 3000; // the library waits up to 1 s for locks
constexpr double LONGEST_LIFE_MS = 500; // on average: a child must not wait for threads at its exit
constexpr unsigned int PARENTS = 400;
constexpr unsigned int FORKS = 4;       // of each parent: most faults occur at the first use
constexpr unsigned int MOST_FAULTS = 5; // then the run ends

std::string variable(char const *name) {
  char const *const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

bool log_all(std::string const &text, unsigned int number) {
  std::string const name = "forks.made." + std::to_string(number);
  LoggingCategory &category = LoggingCategory::get_instance(name.c_str());
  LoggingCategoryPostfixed postfixed(&category, ".");
  return category.warn("%s", text.c_str()) && postfixed.warn("%s", text.c_str());
}

// Also causes a warning about a malformed key, whose category is created at its first warning.
bool read_user_settings(unsigned int number) {
  std::string const key = "UserConfig/Key:" + std::to_string(number % 50) + "/Name";
  std::string const kept = "UserConfig/Kept/Name" + std::to_string(number);
  std::string value;
  bool const is_read = UserConfig::get_user_config(key.c_str(), &value) == RESULT_SUCCESS &&
                       value == "value" &&
                       UserConfig::get_user_config("none", &value) == RESULT_FAILURE;
  return is_read &&
         UserConfig::set_user_config(kept.c_str(), "here", /*commit=*/false) == RESULT_SUCCESS &&
         UserConfig::get_user_config(kept.c_str(), &value) == RESULT_SUCCESS && value == "here";
}

bool read_configuration() {
  XmlConfigSource source;
  Configuration configuration(source);
  std::string value;
  return source.set_search_path(variable("OSTREL_CONFIG_PATH").c_str()) == RESULT_SUCCESS &&
         configuration.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr) ==
             RESULT_SUCCESS &&
         configuration.get_value("UserConfig/Key:7", "Name", &value) == RESULT_SUCCESS &&
         value == "value";
}

std::atomic<bool> is_done{false};
std::atomic<bool> is_wrong{false}; // a fault in the parent

void work(unsigned int thread) {
  for (unsigned int i = 0; !is_done; ++i) {
    bool const is_right = thread % 2 == 0 ? log_all("parent", thread * 1000 + i % 1000)
                          : thread == 1   ? read_user_settings(i % 5000)
                                          : read_configuration();
    is_wrong = is_wrong || !is_right;
  }
}

// Uses the library in a child, then ends it by `exit` or, as an exec would, without exit handlers.
[[noreturn]] void end_child(unsigned int number) {
  alarm(CHILD_LIMIT_S);
  bool const is_right = log_all("child " + std::to_string(number) + ".", 1000000 + number) &&
                        read_user_settings(number) && read_configuration();
  int const status = is_right ? 0 : 1;
  if (number % 2 == 0) {
    std::exit(status);
  }
  _exit(status);
}

// Flushes at once: a child would write the buffered text again.
void fault(std::string const &text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

// Checks that each child has logged its number twice.
void look_at_log(std::string const &log, unsigned int count) {
  std::map<std::string, unsigned int> lines;
  std::istringstream text(log);
  for (std::string line; std::getline(text, line);) {
    std::size_t const child = line.find("child ");
    if (line.rfind("WARN ", 0) != 0) {
      fault("a torn line: " + line);
    }
    if (child != std::string::npos) {
      ++lines[line.substr(child, line.find('.', child) - child)];
    }
  }
  bool const is_complete =
      lines.size() == count &&
      std::all_of(lines.begin(), lines.end(), [](auto const &line) { return line.second == 2; });
  if (!is_complete) {
    fault("lines are missing of " + std::to_string(count) + " children");
  }
}

double slowest_ms = 0;  // fork of this process
double children_ms = 0; // the lives of all its children

bool fork_child(unsigned int number) {
  using Clock = std::chrono::steady_clock;
  auto const start = Clock::now();
  pid_t const child = fork();
  if (child == 0) {
    end_child(number);
  }
  std::chrono::duration<double, std::milli> taken = Clock::now() - start;
  slowest_ms = std::max(slowest_ms, taken.count());
  int status = 0;
  waitpid(child, &status, 0);
  taken = Clock::now() - start;
  children_ms += taken.count();
  if (status != 0) {
    fault("child " + std::to_string(number) +
          (!WIFSIGNALED(status)          ? " cannot do its work"
           : WTERMSIG(status) == SIGALRM ? " hangs"
                                         : " crashes"));
  }
  return status == 0;
}

// Forks at once, while much is used for the first time. Prints the faults to standard output and
// the durations of the slowest fork and of all children to standard error.
Role const forks_role("forks", [](Role::Arguments const &arguments) {
  auto const count = static_cast<unsigned int>(std::stoul(arguments[0]));
  alarm(PARENT_LIMIT_S);
  constexpr unsigned int THREADS = 4;
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < THREADS; ++i) {
    threads.emplace_back(work, i);
  }
  bool is_right = true;
  for (unsigned int i = 0; i < count && is_right; ++i) {
    is_right = fork_child(i);
  }
  is_done = true;
  for (std::thread &thread : threads) {
    thread.join();
  }
  if (is_wrong) {
    fault("the parent's threads cannot do their work");
  }
  if (is_right) {
    look_at_log(read_file(variable("OSTREL_LOG_OUTPUT")), count);
  }
  std::fprintf(stderr, "%f %f ms", slowest_ms, children_ms);
  return 0;
});

} // namespace

int torture() {
  Torture torture("A child of fork can use the library");
  TemporaryDirectory const directory;
  std::string keys;
  for (int i = 0; i < 50; ++i) {
    keys += "<Key Name='value'/>";
  }
  write_file(directory.path("user-config.xml"), "<UserConfig>" + keys + "</UserConfig>");
  unsigned int parents = 0, faulty = 0;
  double slowest = 0, lives = 0; // of all forks and children, in milliseconds
  for (; parents < rounds(PARENTS) && faulty < MOST_FAULTS; ++parents) {
    std::string const log = directory.path("log " + std::to_string(parents));
    ChildResult const parent = run_child("forks", {std::to_string(FORKS)},
                                         {{"OSTREL_CONFIG_PATH", directory.path().c_str()},
                                          {"OSTREL_LOG_PRIORITY", "forks,INFO;Ostrel,INFO"},
                                          {"OSTREL_LOG_OUTPUT", log.c_str()},
                                          {"OVRA_LOG_TIMESTAMP", "YES"}});
    std::istringstream faults(parent.out);
    for (std::string line; std::getline(faults, line);) {
      torture.fault("%s", line.c_str());
    }
    if (parent.status != 0) {
      torture.fault("parent %u ends with %d: %s", parents, parent.status, parent.err.c_str());
    }
    char *rest = nullptr;
    slowest = std::max(slowest, std::strtod(parent.err.c_str(), &rest));
    lives += std::strtod(rest, nullptr);
    faulty += parent.status != 0 || !parent.out.empty() ? 1 : 0;
  }
  if (slowest > LONGEST_FORK_MS) {
    torture.fault("a fork took %.0f ms", slowest);
  }
  if (lives > LONGEST_LIFE_MS * parents * FORKS) {
    torture.fault("a child took %.0f ms on average", lives / (parents * FORKS));
  }
  return torture.row("%u forks while four threads log and read settings, in %u processes: every "
                     "child logs, reads its settings and ends; the slowest fork took %.0f ms",
                     parents * FORKS, parents, slowest);
}
