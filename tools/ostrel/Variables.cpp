// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Variables.hpp"

#include <cstdlib>

#include <unistd.h>

namespace Ostrel::Tool {

namespace {

std::map<std::string, std::string> &hidden_variables() {
  static std::map<std::string, std::string> variables;
  return variables;
}

} // namespace

void hide_log_variables() {
  for (char const *const name :
       {"OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY", "OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT"}) {
    if (char const *const value = std::getenv(name); value != nullptr) {
      hidden_variables()[name] = value;
      unsetenv(name);
    }
  }
}

std::map<std::string, std::string> read_variables() {
  std::map<std::string, std::string> variables = hidden_variables();
  for (char **entry = environ; *entry != nullptr; ++entry) {
    std::string const text = *entry;
    if (std::size_t const equals = text.find('='); equals != text.npos) {
      variables.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
  }
  return variables;
}

std::vector<std::string> const &library_variables() {
  static std::vector<std::string> const names = {
      "OSTREL_CONFIG_PATH",  "OSTREL_DATA_PATH",          "OSTREL_AUDIO_PATH",
      "OSTREL_IMAGES_PATH",  "OSTREL_FACES_PATH",         "OSTREL_MODELSETS_PATH",
      "OSTREL_LIBRARY_PATH", "OSTREL_SLAM_LANDMARK_PATH", "OSTREL_REGISTRY_FILE",
      "OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY",         "OSTREL_LOG_OUTPUT",
      "OVRA_LOG_OUTPUT",     "OVRA_LOG_TIMESTAMP",        "OSTREL_TEST_HARDWARE"};
  return names;
}

} // namespace Ostrel::Tool
