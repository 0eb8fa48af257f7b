// SPDX-License-Identifier: Apache-2.0
#include "torture/allocations/Scenario.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/allocations/Calls.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string directory;

unsigned long restorations = 0;

} // namespace

std::string const &scenario_directory() {
  return directory;
}

std::string in_directory(char const *name) {
  return directory + '/' + name;
}

void restore_config_path() {
  setenv("OSTREL_CONFIG_PATH", directory.c_str(), 1);
  ++restorations;
}

Outcome right_if(bool is_right) {
  return is_right ? Outcome::RIGHT : Outcome::WRONG;
}

Outcome by_code(unsigned long result, bool is_right, std::initializer_list<unsigned long> others) {
  bool const is_refusal = result == Ostrel::RESULT_OUT_OF_MEMORY ||
                          std::find(others.begin(), others.end(), result) != others.end();
  return is_refusal ? Outcome::REFUSED : right_if(result == Ostrel::RESULT_SUCCESS && is_right);
}

Outcome all_or_nothing(bool is_done, bool is_nothing) {
  return is_done ? Outcome::RIGHT : is_nothing ? Outcome::REFUSED : Outcome::WRONG;
}

Outcome worst(std::initializer_list<Outcome> outcomes) {
  return std::max(outcomes);
}

NewText::NewText(std::string path) : path_(std::move(path)), before_(read_file(path_).size()) {}

std::string NewText::text() const {
  std::string const now = read_file(path_);
  std::string text = now.substr(std::min(before_, now.size()));
  constexpr char NOT_SET_UP[] = "WARN: Failed to set up logging.\n";
  if (std::size_t const at = text.find(NOT_SET_UP); at != text.npos) {
    text.erase(at, sizeof NOT_SET_UP - 1);
  }
  return text;
}

Outcome NewText::is(std::string const &expected) const {
  std::string const now = text();
  return all_or_nothing(now == expected, now.empty());
}

Outcome NewText::has(std::string const &expected) const {
  return text().find(expected) != std::string::npos ? Outcome::RIGHT : Outcome::REFUSED;
}

std::vector<Call> const &scenario() {
  static std::vector<Call> const calls = [] {
    std::vector<Call> all;
    for (auto const list :
         {foundation_calls, platform_calls, logging_calls, config_calls, capi_calls, last_calls}) {
      std::vector<Call> const subject = list();
      all.insert(all.end(), subject.begin(), subject.end());
    }
    return all;
  }();
  return calls;
}

void write_scenario_files(std::string const &place) {
  auto const write = [&place](char const *name, char const *text) {
    write_file(place + '/' + name, text);
  };
  write("robot.xml", "<Robot>A text that needs memory to be kept, and a <Arm joints=\"6\" "
                     "name=\"An arm with a long name\"/><Arm joints=\"7\">second</Arm>"
                     " one<Series values=\"1 2 5:8 -3\"/></Robot>");
  write("latin.xml",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<!DOCTYPE R [<!ENTITY e \"an entity "
        "with a long text\">]>\n<R a=\"1\" b=\"\xE9\" b2=\"&lt;&#60;\">\xE9t\xE9 and <K c=\">\">"
        "&e;</K></R>");
  write("broken.xml", "<Robot><Arm></Robot>");
  write("devices/camera.xml", "<Camera name=\"front\"/>");
  write("user-config.xml",
        "<UserConfig>\n  <ObstacleAvoidance Method=\"Potential fields, or so\"/>\n"
        "  <Drive Speed=\"0.75, which is a rather long number\"/>\n  <Aliases>\n"
        "    <Alias name=\"First\" value=\"UserConfig/Drive/First\"/>\n"
        "    <Alias name=\"Second alias with a long name\" value=\"UserConfig/Drive/Second\"/>\n"
        "    <Alias name=\"Speed\" value=\"UserConfig/Drive/Speed\"/>\n"
        "  </Aliases>\n</UserConfig>\n");
  write("registry.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n"
                        "\"InstallPath\"=\"c:\\\\installed\\\\below\\\\a\\\\long\\\\path\"\n"
                        "\"SlamLandmarkPath\"=\"a place for the landmarks of the robot\"\n");
}

unsigned long kept_environments() {
  constexpr unsigned long BLOCKS_PER_ARRAY = 2; // the list's node, and the array
  return BLOCKS_PER_ARRAY * restorations;
}

void set_scenario_directory(std::string const &place) {
  directory = place;
}
