// SPDX-License-Identifier: Apache-2.0
// Two programs commit different settings to one file without pause, while a third loads it. Each
// load must find a complete text of each, none older than one that was found before, and in the end
// the last one that each has committed.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr char const *KEYS[] = {"First", "Second"};
constexpr unsigned int LAST = 1000000000;  // the number of each program's last text
constexpr unsigned int FEWEST_STATES = 10; // of the file; a slow disk allows many more

// The text of that number, which repeats it: no mixture of two texts is a valid text.
std::string make_text(unsigned int number) {
  std::string result;
  for (unsigned int i = 0; i <= number % 2000; ++i) {
    result += std::to_string(number) + ",";
  }
  return result;
}

unsigned int number_of(std::string const &text) {
  return static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 10));
}

bool is_whole(std::string const &text) {
  return !text.empty() && text == make_text(number_of(text));
}

// Commits the texts from 1 on until the file `end` exists, and then the text LAST.
// @return the exit status.
int commit_without_pause(char const *key, std::string const &end) {
  std::string const name = std::string("UserConfig/") + key + "/v";
  unsigned int number = 0;
  do {
    number = std::filesystem::exists(end) ? LAST : number + 1;
    if (UserConfig::set_user_config(name.c_str(), make_text(number).c_str(), true) !=
        RESULT_SUCCESS) {
      return EXIT_FAILURE;
    }
  } while (number != LAST);
  return EXIT_SUCCESS;
}

pid_t start_program(char const *key, std::string const &end) {
  pid_t const child = fork();
  if (child == 0) {
    _exit(commit_without_pause(key, end));
  }
  return child;
}

} // namespace

int torture() {
  using Clock = std::chrono::steady_clock;
  Torture torture("Two programs, one settings file: no commit is lost");
  TemporaryDirectory const directory, elsewhere;
  std::string const path = directory.path("user-config.xml"), end = elsewhere.path("end");
  std::string const text = make_text(0);
  write_file(path,
             "<UserConfig><First v=\"" + text + "\"/><Second v=\"" + text + "\"/></UserConfig>");
  setenv("OSTREL_CONFIG_PATH", directory.path().c_str(), 1);
  pid_t const programs[] = {start_program(KEYS[0], end), start_program(KEYS[1], end)};

  unsigned int loads = 0, states = 0;
  std::array<unsigned int, 2> changes = {}; // of each key
  std::array<std::string, 2> before = {text, text};
  auto const stop = Clock::now() + std::chrono::milliseconds(rounds(20000) + 800);
  for (; Clock::now() < stop; ++loads) {
    XmlConfigSource source;
    Configuration configuration(source);
    unsigned long const result = configuration.init_source(path.c_str());
    std::array<std::string, 2> found;
    configuration.get_value("UserConfig/First", "v", &found[0]);
    configuration.get_value("UserConfig/Second", "v", &found[1]);
    if (result != RESULT_SUCCESS || !is_whole(found[0]) || !is_whole(found[1])) {
      torture.fault("load %u: result %lu, '%.20s', '%.20s'", loads, result, found[0].c_str(),
                    found[1].c_str());
    }
    states += found == before ? 0 : 1;
    for (std::size_t i = 0; i < found.size(); ++i) {
      changes[i] += found[i] == before[i] ? 0 : 1;
      if (number_of(found[i]) < number_of(before[i])) {
        torture.fault("load %u: text %u after text %u", loads, number_of(found[i]),
                      number_of(before[i]));
      }
    }
    before = found;
  }
  write_file(end, "");
  for (pid_t const program : programs) {
    int status = 0;
    waitpid(program, &status, 0);
    if (status != EXIT_SUCCESS) {
      torture.fault("a program's commit failed");
    }
  }
  XmlConfigSource source;
  Configuration configuration(source);
  configuration.init_source(path.c_str());
  for (char const *key : KEYS) {
    std::string last;
    configuration.get_value((std::string("UserConfig/") + key).c_str(), "v", &last);
    if (number_of(last) != LAST) {
      torture.fault("the last commit of %s is lost", key);
    }
  }
  std::filesystem::directory_iterator const entries(directory.path());
  if (std::distance(entries, {}) != 1) {
    torture.fault("a temporary file is left");
  }
  if (states < FEWEST_STATES || changes[0] == 0 || changes[1] == 0) {
    torture.fault("%u states met, %u and %u changes of the two settings: nothing was tried", states,
                  changes[0], changes[1]);
  }
  return torture.row("two programs committed without pause, a third loaded %u times and met %u "
                     "states of the file",
                     loads, states);
}
