// SPDX-License-Identifier: Apache-2.0
// Processes write lines of all lengths to one log file: half of them by their own output, half by a
// category that the environment configures.
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/Threads.hpp"
#include "torture/support/Torture.hpp"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Ostrel;

constexpr int PROCESSES = 8;
constexpr char CATEGORY[] = "Torture.Lines";
constexpr unsigned int SHORTEST = 80, LONGEST = 16000; // characters
constexpr std::chrono::seconds LONGEST_START(30);      // of all processes

// The message of that process and number: both numbers, then a filling that depends on both.
std::string make_message(unsigned int process, unsigned int number) {
  std::string message = std::to_string(process) + " " + std::to_string(number) + " ";
  unsigned int const length =
      SHORTEST + (number * 7919 + process * 104729) % (LONGEST - SHORTEST + 1);
  message.resize(length, static_cast<char>('a' + (number + process) % 26));
  return message;
}

// Waits until all processes have started, so that they write at the same time.
// @return false if one does not start.
bool wait_for_all(std::string const &path) {
  using Clock = std::chrono::steady_clock;
  std::string const ready = path + ".ready";
  FileLoggingOutput(ready.c_str()).write_method("x");
  auto const end = Clock::now() + LONGEST_START;
  while (read_file(ready).size() < PROCESSES) {
    if (Clock::now() > end) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

// Arguments: number of the process, number of lines, path of the file.
Role const own_output("own-output", [](Role::Arguments const &arguments) {
  if (!wait_for_all(arguments[2])) {
    return EXIT_FAILURE;
  }
  auto const process = static_cast<unsigned int>(std::stoul(arguments[0]));
  FileLoggingOutput output(arguments[2].c_str());
  for (unsigned int number = 0; number < std::stoul(arguments[1]); ++number) {
    output.write_method("INFO  - " + make_message(process, number) + "\n");
  }
  return EXIT_SUCCESS;
});

Role const category("category", [](Role::Arguments const &arguments) {
  if (!wait_for_all(arguments[2])) {
    return EXIT_FAILURE;
  }
  auto const process = static_cast<unsigned int>(std::stoul(arguments[0]));
  LoggingCategory &lines = LoggingCategory::get_instance(CATEGORY);
  for (unsigned int number = 0; number < std::stoul(arguments[1]); ++number) {
    lines.info("%s", make_message(process, number).c_str());
  }
  return EXIT_SUCCESS;
});

// Checks that the lines of each process are complete and in order.
void check_lines(Torture &torture, std::string const &path, unsigned int count) {
  std::ifstream file(path, std::ios::binary);
  std::vector<unsigned int> next(PROCESSES);
  unsigned int number = 0;
  for (std::string line; std::getline(file, line); ++number) {
    std::string const head = "INFO  - ";
    std::size_t const digit =
        static_cast<unsigned char>(line.size() > head.size() ? line[head.size()] : ' ') -
        std::size_t{'0'};
    if (digit >= next.size() ||
        line != head + make_message(static_cast<unsigned int>(digit), next[digit])) {
      torture.fault("line %u is none, or not the next: '%.40s', %zu characters", number,
                    line.c_str(), line.size());
    } else {
      ++next[digit];
    }
  }
  for (unsigned int const lines : next) {
    if (lines != count) {
      torture.fault("%u lines of a process instead of %u", lines, count);
    }
  }
}

} // namespace

int torture() {
  Torture torture("Whole lines");
  TemporaryDirectory const directory;
  std::string const path = directory.path("log"), priority = std::string(CATEGORY) + ",INFO";
  unsigned int const count = rounds(10000);
  Environment const environment = {{"OSTREL_LOG_PRIORITY", priority.c_str()},
                                   {"OSTREL_LOG_OUTPUT", path.c_str()}};
  in_threads(PROCESSES, [&](int process) {
    char const *role = process % 2 == 0 ? "own-output" : "category";
    if (run_child(role, {std::to_string(process), std::to_string(count), path}, environment)
            .status != EXIT_SUCCESS) {
      torture.fault("process %d failed", process);
    }
  });
  check_lines(torture, path, count);
  return torture.row("%d processes, %u lines each of %u to %u characters, onto one file", PROCESSES,
                     count, SHORTEST, LONGEST);
}
