// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Ostrel::Tool {

namespace {

// Words that are taken for each other in the names of variables.
constexpr std::pair<char const *, char const *> LIKE_WORDS[] = {
    {"ostrel", "ovra"}, {"path", "dir"},       {"path", "directory"}, {"config", "conf"},
    {"output", "file"}, {"priority", "level"}, {"library", "lib"}};

// The same word, but misspelt or replaced.
bool are_alike(std::string const &word, std::string const &known) {
  return word == known || is_misspelling(word, known) ||
         std::any_of(std::begin(LIKE_WORDS), std::end(LIKE_WORDS), [&](auto const &pair) {
           return (word == pair.first && known == pair.second) ||
                  (word == pair.second && known == pair.first);
         });
}

// Whether a variable was meant to be that of the library: its words are alike, or only the
// separators between them differ, or it names a directory and "_PATH" is missing, or it names the
// settings file.
bool is_meant(std::string const &name, std::string const &value, std::string const &known) {
  std::string const written = lower(name), meant = lower(known);
  std::vector<std::string> const words = split(written, '_'), known_words = split(meant, '_');
  return have_like_words(words, known_words) || letters_of(written) == letters_of(meant) ||
         (written + "_path" == meant && status_of(value).is_directory) ||
         (meant == "ostrel_config_path" && are_alike(words.front(), known_words.front()) &&
          ends_with(value, "user-config.xml"));
}

void diagnose_name(std::string const &name, std::string const &value,
                   std::vector<Finding> *findings) {
  std::vector<std::string> const &names = library_variables();
  auto const meant = std::find_if(names.begin(), names.end(), [&](std::string const &known) {
    return is_meant(name, value, known);
  });
  bool const is_known = std::find(names.begin(), names.end(), name) != names.end();
  if (!is_known && meant != names.end()) {
    findings->push_back({"", 0, name + ": nothing reads this variable", "write " + *meant});
  }
}

// A variable that switches something on by "yes" or "true".
struct Switch {
  char const *name;
  bool is_case_ignored;
  char const *purpose;
  char const *instead;
};

constexpr Switch SWITCHES[] = {
    {"OVRA_LOG_TIMESTAMP", true, "enable the time of day", "write YES"},
    {"OSTREL_TEST_HARDWARE", false, "enable the hardware (case matters)", "write yes"}};

void diagnose_switch(Switch const &each, std::string const &value, std::vector<Finding> *findings) {
  std::string const on = each.is_case_ignored ? lower(value) : value, off = lower(value);
  bool const is_deliberate = on == "yes" || on == "true" || off == "no" || off == "false" ||
                             off == "0" || off == "off" || off.empty();
  if (!is_deliberate) {
    findings->push_back({"", 0,
                         std::string(each.name) + ": '" + value + "' does not " + each.purpose,
                         each.instead});
  }
}

} // namespace

bool have_like_words(std::vector<std::string> const &words, std::vector<std::string> const &known) {
  return std::equal(words.begin(), words.end(), known.begin(), known.end(), are_alike);
}

void diagnose_variables(std::vector<Finding> *findings) {
  std::map<std::string, std::string> const variables = read_variables();
  for (auto const &[name, value] : variables) {
    diagnose_name(name, value, findings);
  }
  for (Switch const &each : SWITCHES) {
    if (auto const found = variables.find(each.name); found != variables.end()) {
      diagnose_switch(each, found->second, findings);
    }
  }
}

} // namespace Ostrel::Tool
