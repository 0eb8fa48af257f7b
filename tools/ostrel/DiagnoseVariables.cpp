// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// Other names for a variable that are plausible, without prefix and ending.
constexpr std::pair<char const *, char const *> OTHER_NAMES[] = {
    {"LOG", "OSTREL_LOG_PRIORITY"},
    {"LOGGING", "OSTREL_LOG_PRIORITY"},
    {"LOGLEVEL", "OSTREL_LOG_PRIORITY"},
    {"LOG_LEVEL", "OSTREL_LOG_PRIORITY"},
    {"LOG_PRIO", "OSTREL_LOG_PRIORITY"},
    {"LOG_PRIORITIES", "OSTREL_LOG_PRIORITY"},
    {"LOG_CATEGORY", "OSTREL_LOG_PRIORITY"},
    {"LOG_CATEGORIES", "OSTREL_LOG_PRIORITY"},
    {"LOG_SPEC", "OSTREL_LOG_PRIORITY"},
    {"DEBUG", "OSTREL_LOG_PRIORITY"},
    {"PRIORITY", "OSTREL_LOG_PRIORITY"},
    {"VERBOSE", "OSTREL_LOG_PRIORITY"},
    {"LOG_FILE", "OSTREL_LOG_OUTPUT"},
    {"LOGFILE", "OSTREL_LOG_OUTPUT"},
    {"LOG_PATH", "OSTREL_LOG_OUTPUT"},
    {"LOG_DIR", "OSTREL_LOG_OUTPUT"},
    {"LOG_OUT", "OSTREL_LOG_OUTPUT"},
    {"LOG_TIME", "OVRA_LOG_TIMESTAMP"},
    {"LOG_TIMESTAMP", "OVRA_LOG_TIMESTAMP"},
    {"LOG_TIMESTAMPS", "OVRA_LOG_TIMESTAMP"},
    {"TIMESTAMP", "OVRA_LOG_TIMESTAMP"},
    {"CONFIG", "OSTREL_CONFIG_PATH"},
    {"CONF", "OSTREL_CONFIG_PATH"},
    {"CFG", "OSTREL_CONFIG_PATH"},
    {"INSTALL", "InstallPath in the registry"},
    {"SETTINGS", "OSTREL_CONFIG_PATH"},
    {"USER_CONFIG", "OSTREL_CONFIG_PATH"},
    {"DATA", "OSTREL_DATA_PATH"},
    {"AUDIO", "OSTREL_AUDIO_PATH"},
    {"SOUND", "OSTREL_AUDIO_PATH"},
    {"SOUNDS", "OSTREL_AUDIO_PATH"},
    {"IMAGES", "OSTREL_IMAGES_PATH"},
    {"IMAGE", "OSTREL_IMAGES_PATH"},
    {"FACES", "OSTREL_FACES_PATH"},
    {"FACE", "OSTREL_FACES_PATH"},
    {"MODELSETS", "OSTREL_MODELSETS_PATH"},
    {"MODELSET", "OSTREL_MODELSETS_PATH"},
    {"MODELS", "OSTREL_MODELSETS_PATH"},
    {"MODEL", "OSTREL_MODELSETS_PATH"},
    {"SLAM", "OSTREL_SLAM_LANDMARK_PATH"},
    {"LANDMARK", "OSTREL_SLAM_LANDMARK_PATH"},
    {"SLAM_LANDMARKS", "OSTREL_SLAM_LANDMARK_PATH"},
    {"LIBRARY", "OSTREL_LIBRARY_PATH"},
    {"LIBRARIES", "OSTREL_LIBRARY_PATH"},
    {"LIB", "OSTREL_LIBRARY_PATH"},
    {"LD_LIBRARY", "OSTREL_LIBRARY_PATH"},
    {"PLUGIN", "OSTREL_LIBRARY_PATH"},
    {"PLUGINS", "OSTREL_LIBRARY_PATH"},
    {"REGISTRY", "OSTREL_REGISTRY_FILE"},
    {"HARDWARE", "OSTREL_TEST_HARDWARE"},
    {"TEST", "OSTREL_TEST_HARDWARE"},
};

std::string without_ending(std::string const &name) {
  for (char const *const ending :
       {"_PATH", "_PATHS", "_DIR", "_DIRS", "_DIRECTORY", "_FILE", "PATH"}) {
    if (ends_with(name, ending)) {
      return name.substr(0, name.size() - std::string(ending).size());
    }
  }
  return name;
}

// The variable of the library that was meant; empty if it is one, or belongs to something else.
std::string meant_variable(std::string const &name) {
  std::vector<std::string> const &known = library_variables();
  if (std::find(known.begin(), known.end(), name) != known.end()) {
    return "";
  }
  for (std::string const prefix : {"OSTREL_", "OVRA_"}) {
    std::string const rest = starts_with(name, prefix) ? name.substr(prefix.size()) : "";
    for (std::string const &variable : known) {
      std::string const known_rest = variable.substr(variable.find('_') + 1);
      if (rest == known_rest || without_ending(rest) == known_rest) {
        return variable;
      }
    }
    for (auto const &[other, meant] : OTHER_NAMES) {
      if (rest == other || without_ending(rest) == other) {
        return meant;
      }
    }
  }
  std::string const *const misspelt = find_misspelt(name, known);
  return misspelt == nullptr ? "" : *misspelt;
}

void diagnose_timestamp(std::vector<Finding> *findings) {
  std::string value;
  if (!Platform::get_environment_variable("OVRA_LOG_TIMESTAMP", &value)) {
    return;
  }
  std::string const word = lower(value);
  bool const is_deliberate = word == "yes" || word == "true" || word == "no" || word == "false" ||
                             word == "0" || word == "off" || word.empty();
  if (!is_deliberate) {
    findings->push_back({"", 0,
                         "OVRA_LOG_TIMESTAMP: '" + value + "' does not enable the time of day",
                         "write YES"});
  }
}

void diagnose_hardware(std::vector<Finding> *findings) {
  std::string value;
  if (!Platform::get_environment_variable("OSTREL_TEST_HARDWARE", &value)) {
    return;
  }
  bool const is_deliberate = value == "yes" || value == "true" || value == "no" ||
                             value == "false" || value == "0" || value == "off" || value.empty();
  if (!is_deliberate) {
    findings->push_back(
        {"", 0, "OSTREL_TEST_HARDWARE: '" + value + "' does not enable the hardware (case matters)",
         "write yes"});
  }
}

} // namespace

std::vector<std::string> const &library_variables() {
  static std::vector<std::string> const names = {
      "OSTREL_CONFIG_PATH",  "OSTREL_DATA_PATH",          "OSTREL_AUDIO_PATH",
      "OSTREL_IMAGES_PATH",  "OSTREL_FACES_PATH",         "OSTREL_MODELSETS_PATH",
      "OSTREL_LIBRARY_PATH", "OSTREL_SLAM_LANDMARK_PATH", "OSTREL_REGISTRY_FILE",
      "OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY",         "OSTREL_LOG_OUTPUT",
      "OVRA_LOG_OUTPUT",     "OVRA_LOG_TIMESTAMP",        "OSTREL_TEST_HARDWARE"};
  return names;
}

std::vector<std::string> environment_names() {
  std::vector<std::string> names;
  for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    std::string const text = *entry;
    names.push_back(text.substr(0, text.find('=')));
  }
  std::sort(names.begin(), names.end());
  return names;
}

void diagnose_variables(std::vector<Finding> *findings) {
  for (std::string const &name : environment_names()) {
    std::string const meant = meant_variable(name);
    if (!meant.empty()) {
      findings->push_back({"", 0, name + ": nothing reads this variable", "write " + meant});
    }
  }
  diagnose_timestamp(findings);
  diagnose_hardware(findings);
}

} // namespace Ostrel::Tool
