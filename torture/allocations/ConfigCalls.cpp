// SPDX-License-Identifier: Apache-2.0
// Configuration files, and the user's settings.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/Setting.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/units/Units.hpp"
#include "tests/support/Files.hpp"
#include "torture/allocations/Calls.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;
using FailingMalloc::Strained;

// Loads a file of the scenario; null, with the outcome, on failure.
std::unique_ptr<XmlConfigSource> load(char const *file, Outcome *outcome) {
  std::unique_ptr<XmlConfigSource> source(
      strain([] { return new (std::nothrow) XmlConfigSource; }));
  if (source == nullptr) {
    *outcome = Outcome::REFUSED;
    return nullptr;
  }
  unsigned long const set =
      strain([&] { return source->set_search_path(scenario_directory().c_str()); });
  unsigned long const loaded = set != RESULT_SUCCESS ? set : strain([&] {
    return source->init_source(static_cast<void const *>(file));
  });
  *outcome = by_code(loaded, true, {RESULT_ACQUISITION_ERROR});
  return loaded == RESULT_SUCCESS ? std::move(source) : nullptr;
}

// The contents of a key as one text; null if a part could not be read. The source itself does not
// distinguish that from a missing part.
bool read_whole(XmlConfigSource const &source, void const *key, std::string *whole) {
  std::string name, text;
  if (!source.get_key_name(key, &name)) {
    return false;
  }
  *whole += '<' + name;
  for (void const *value = source.find_first_value(key, &name, &text); value != nullptr;
       value = source.find_next_value(value, &name, &text)) {
    *whole += ' ' + name + '=' + text;
  }
  for (void const *child = source.find_first(key, &name); child != nullptr;
       child = source.find_next(child, &name)) {
    if (!read_whole(source, child, whole)) {
      return false;
    }
  }
  *whole += '>';
  return true;
}

Outcome load_and_walk(char const *file, char const *expected) {
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load(file, &outcome);
  if (source == nullptr) {
    return outcome;
  }
  std::string whole, name;
  if (!read_whole(*source, source->find_first(nullptr, &name), &whole) || whole != expected) {
    std::fprintf(stderr, "%s\n", whole.c_str());
    return Outcome::WRONG; // a successful load must be complete
  }
  {
    Strained const here;
    std::string walked;
    void const *key = source->find_first(nullptr, &walked);
    for (void const *child = key; child != nullptr; child = source->find_first(child, &walked)) {
      key = child;
    }
    void const *const value = source->find_first_value(key, &name, &walked);
    outcome = key == nullptr || value == nullptr ? Outcome::REFUSED : Outcome::RIGHT;
  }
  return outcome;
}

Outcome load_plain_file() {
  return load_and_walk("robot.xml", "<Robot =A text that needs memory to be kept, and a second one"
                                    "<Arm = joints=6 name=An arm with a long name>"
                                    "<Arm =second joints=7><Series = values=1 2 5:8 -3>>");
}

Outcome load_difficult_file() {
  return load_and_walk("latin.xml", "<R =\xC3\xA9t\xC3\xA9 and an entity with a long text a=1 "
                                    "b=\xC3\xA9 b2=<<<K =an entity with a long text c=>>>");
}

Outcome miss_source_file() {
  NewText const err(STANDARD_ERROR);
  XmlConfigSource source;
  if (source.set_search_path(scenario_directory().c_str()) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  Configuration configuration(source);
  char const *const file = "no-such-file.xml";
  unsigned long const result =
      strain([&] { return configuration.init_source(static_cast<void const *>(file)); });
  if (result != RESULT_NOT_FOUND) {
    return by_code(result, false);
  }
  return worst(
      {err.has("WARN  - Unable to find file '" + scenario_directory() + "\\no-such-file.xml'\n"),
       err.has("WARN  - Failed to initialize source 'no-such-file.xml'\n")});
}

Outcome read_typed_values() {
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load("robot.xml", &outcome);
  if (source == nullptr) {
    return outcome;
  }
  std::optional<Configuration> const configuration(
      strain([&] { return std::optional<Configuration>(*source); }));
  double real = 0.0;
  long whole = 0;
  unsigned long natural = 0;
  std::string text;
  long series[10];
  unsigned int count = 10;
  unsigned long const results[] = {
      strain([&] { return configuration->get_value("Robot/Arm", "joints", &real); }),
      strain([&] { return configuration->get_value("Robot/Arm:1", "joints", &whole); }),
      strain([&] { return configuration->get_value("Robot\\Arm", "joints", &natural); }),
      strain([&] { return configuration->get_value("Robot/Arm", "name", &text); }),
      strain([&] { return configuration->get_series("Robot/Series", "values", series, &count); })};
  void const *const key =
      strain([&] { return configuration->find_key_with_value("Robot/Arm", "joints", "7"); });
  return worst({by_code(results[0], real == 6.0, {RESULT_NOT_FOUND}),
                by_code(results[1], whole == 7, {RESULT_NOT_FOUND}),
                by_code(results[2], natural == 6, {RESULT_NOT_FOUND}),
                by_code(results[3], text == "An arm with a long name", {RESULT_NOT_FOUND}),
                by_code(results[4], count == 7 && series[5] == 8 && series[6] == -3,
                        {RESULT_NOT_FOUND, RESULT_INVALID_ARGUMENT}),
                key != nullptr ? right_if(key == configuration->find_key("Robot/Arm:1"))
                               : Outcome::REFUSED});
}

Outcome miss_key() {
  NewText const err(STANDARD_ERROR);
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load("robot.xml", &outcome);
  if (source == nullptr) {
    return outcome;
  }
  Configuration const configuration(*source);
  bool const is_found =
      strain([&] { return configuration.find_key_with_value("Robot/Leg", "a", "b") != nullptr; });
  return is_found ? Outcome::WRONG : err.has("WARN  - Can't find key 'Robot/Leg'\n");
}

// A source over its own file.
std::unique_ptr<XmlConfigSource> load_copy(Outcome *outcome) {
  write_file(in_directory("edited.xml"), read_file(in_directory("robot.xml")));
  return load("edited.xml", outcome);
}

// Every save is atomic, and an edit that is refused changes nothing.
Outcome edit_file() {
  std::string const path = in_directory("edited.xml");
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load_copy(&outcome);
  if (source == nullptr) {
    return outcome;
  }
  Configuration configuration(*source);
  void const *const made = strain([&] { return configuration.create_key("Robot/Leg"); });
  if (made == nullptr) {
    return Outcome::REFUSED;
  }
  unsigned long const results[] = {
      strain([&] { return configuration.set_value("Robot/Leg", "toes", 5L, true); }),
      strain([&] { return configuration.set_value(made, nullptr, "name", "A leg", false); }),
      strain(
          [&] { return configuration.set_value("Robot/Leg", "name", "Another long leg", true); }),
      strain([&] { return configuration.delete_value("Robot/Arm", "joints"); }),
      strain([&] { return configuration.delete_key("Robot/Arm:1"); }),
      strain([&] { return configuration.commit(); })};
  if (results[5] == RESULT_SUCCESS && std::all_of(std::begin(results), std::end(results),
                                                  [](auto result) { return result == 0; })) {
    std::string const text = read_file(path);
    return right_if(text.find("<Leg toes=\"5\" name=\"Another long leg\"/>") != text.npos &&
                    text.find("<Arm name=") != text.npos && text.find("second") == text.npos);
  }
  unsigned long const result = *std::find_if(std::begin(results), std::end(results),
                                             [](unsigned long code) { return code != 0; });
  XmlConfigSource again;
  again.set_search_path(scenario_directory().c_str());
  if (again.init_source(static_cast<void const *>("edited.xml")) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  return by_code(result, false,
                 {RESULT_IO_ERROR, RESULT_NOT_FOUND, RESULT_INVALID_ARGUMENT, RESULT_FAILURE});
}

// By a key and a sub path. A refused edit is reported, and the others continue.
Outcome edit_below_key() {
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load_copy(&outcome);
  if (source == nullptr) {
    return outcome;
  }
  Configuration configuration(*source);
  void const *const robot = configuration.find_key("Robot");
  double real = 0.0;
  long whole = 0;
  unsigned long natural = 0;
  long series[10];
  unsigned int count = 10;
  unsigned long const results[] = {
      strain([&] { return configuration.set_value(robot, "Arm", "length", 0.5, false); }),
      strain([&] { return configuration.set_value(robot, "Arm", "turns", -3L, false); }),
      strain([&] { return configuration.set_value(robot, "Arm", "parts", 3UL, false); }),
      strain([&] { return configuration.set_value("Robot/Arm", "weight", 0.5, false); }),
      strain([&] { return configuration.set_value("Robot/Arm", "number", 3UL, false); }),
      strain([&] { return configuration.get_value(robot, "Arm", "length", &real); }),
      strain([&] { return configuration.get_value(robot, "Arm", "turns", &whole); }),
      strain([&] { return configuration.get_value(robot, "Arm", "parts", &natural); }),
      strain([&] { return configuration.get_series(robot, "Series", "values", series, &count); }),
      strain([&] { return configuration.delete_value(robot, "Arm", "joints"); })};
  void const *const second =
      strain([&] { return configuration.find_key_with_value(robot, "Arm", "joints", "7"); });
  bool const has_hands =
      strain([&] { return configuration.create_sub_key(robot, "Hand:2", false) != nullptr; });
  unsigned long const deleted = strain([&] { return configuration.delete_key(robot, "Arm:1"); });
  outcome = worst(
      {has_hands ? right_if(configuration.find_key("Robot/Hand:2") != nullptr) : Outcome::REFUSED,
       by_code(deleted, configuration.find_key("Robot/Arm:1") == nullptr,
               {RESULT_INVALID_ARGUMENT, RESULT_IO_ERROR}),
       second != nullptr ? Outcome::RIGHT : Outcome::REFUSED});
  for (unsigned long const result : results) {
    outcome = worst({outcome, by_code(result, true,
                                      {RESULT_NOT_FOUND, RESULT_INVALID_ARGUMENT, RESULT_IO_ERROR,
                                       RESULT_FAILURE})});
  }
  bool const is_right = real == 0.5 && whole == -3 && natural == 3 && count == 7;
  return outcome == Outcome::RIGHT ? right_if(is_right) : outcome;
}

Outcome create_file() {
  std::string const path = in_directory("created.xml");
  XmlConfigSource source;
  unsigned long const created = strain([&] {
    return source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, path.c_str(), "Behaviors");
  });
  if (created != RESULT_SUCCESS) {
    return by_code(created, false, {RESULT_FAILURE});
  }
  unsigned long const written = strain([&] { return source.commit(); });
  bool const is_written = read_file(path).find("<Behaviors/>") != std::string::npos;
  return by_code(written, is_written, {RESULT_FAILURE});
}

Outcome open_repository() {
  XmlConfigSource source;
  if (source.set_search_path(scenario_directory().c_str()) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  std::string name;
  void const *const key = strain([&] { return source.open_repository("devices.camera"); });
  bool const is_right = key != nullptr && source.get_key_name(key, &name) && name == "Camera";
  strain([&] {
    source.close_repository("devices.camera");
    return 0;
  });
  return all_or_nothing(is_right, key == nullptr);
}

Outcome get_setting(char const *key, char const *expected) {
  std::string value = "before";
  unsigned long const result = strain([&] { return UserConfig::get_user_config(key, &value); });
  return value == "before" || result == RESULT_SUCCESS ? by_code(result, value == expected)
                                                       : Outcome::WRONG;
}

Outcome get_declared_alias() {
  return get_setting("$Speed", "0.75, which is a rather long number");
}

Outcome get_built_in_alias() {
  return get_setting("$ObstacleAvoidanceMethod", "Potential fields, or so");
}

Outcome refuse_setting() {
  NewText const err(STANDARD_ERROR);
  std::string value;
  unsigned long const result =
      strain([&] { return UserConfig::get_user_config("no key, but a long text", &value); });
  return result == RESULT_FAILURE ? err.is("WARN  - Malformed key + value. Valid keys should be of "
                                           "the form root/key(1..n)/value\n")
                                  : by_code(result, false);
}

Outcome set_setting() {
  char const *const key = "UserConfig/Drive/A value that only this process has";
  unsigned long const result =
      strain([&] { return UserConfig::set_user_config(key, "text that needs memory", false); });
  return result != RESULT_SUCCESS ? by_code(result, false)
                                  : get_setting(key, "text that needs memory");
}

Outcome commit_setting() {
  unsigned long const result = strain(
      [] { return UserConfig::set_user_config("UserConfig/Made/Committed", "for good", true); });
  if (result != RESULT_SUCCESS) {
    return by_code(result, false, {RESULT_FAILURE});
  }
  std::string const text = read_file(in_directory("user-config.xml"));
  return right_if(text.find("<Made Committed=\"for good\"/>") != text.npos &&
                  text.find("Potential fields") != text.npos);
}

// The text of a setting, and what the file holds.
std::string state_of(char const *key) {
  std::string text = "none";
  UserConfig::get_user_config(key, &text);
  return text + read_file(in_directory("user-config.xml"));
}

// Several at once, in memory and in the file: all or none.
Outcome commit_settings() {
  std::vector<std::pair<std::string, std::string>> const settings = {
      {"UserConfig/Several/First", "one"}, {"UserConfig/Several/Deep/Second", "two"}};
  std::string const before = state_of("UserConfig/Several/First");
  unsigned long const result =
      strain([&] { return UserConfig::set_user_configs(settings, /*commit=*/true); });
  std::string const after = state_of("UserConfig/Several/First");
  if (result != RESULT_SUCCESS) {
    return after == before ? by_code(result, false, {RESULT_FAILURE}) : Outcome::WRONG;
  }
  return right_if(after.find("<Deep Second=\"two\"/>") != after.npos);
}

Outcome remove_setting() {
  char const *const key = "UserConfig/Several/Deep/Second";
  UserConfig::set_user_config(key, "two", /*commit=*/true);
  std::string const before = state_of(key);
  unsigned long const result =
      strain([&] { return UserConfig::remove_user_config(key, /*commit=*/true); });
  std::string const after = state_of(key);
  if (result != RESULT_SUCCESS) {
    return after == before ? by_code(result, false, {RESULT_FAILURE}) : Outcome::WRONG;
  }
  return right_if(after.find("Second=\"two\"") == after.npos);
}

Outcome reload_settings() {
  unsigned long const result = strain([] { return UserConfig::reload(); });
  return result == RESULT_SUCCESS
             ? get_built_in_alias()
             : by_code(result, false, {RESULT_FAILURE, RESULT_ACQUISITION_ERROR});
}

Outcome read_numbers() {
  double number = -1, angle = -1;
  UserConfig::set_user_configs({{"UserConfig/Typed/Number", "12.5"},
                                {"UserConfig/Typed/Angle", "2 rad"},
                                {"UserConfig/Typed/Word", "a text that is not a number at all"}},
                               /*commit=*/false);
  NewText const err(STANDARD_ERROR);
  unsigned long const read =
      strain([&] { return UserConfig::get_user_config("UserConfig/Typed/Number", &number); });
  unsigned long const converted = strain([&] {
    return UserConfig::get_user_quantity("UserConfig/Typed/Angle", UNIT_TYPE_ANGLE, &angle);
  });
  double ignored = 0;
  unsigned long const refused =
      strain([&] { return UserConfig::get_user_config("UserConfig/Typed/Word", &ignored); });
  Outcome const refusal =
      refused == RESULT_INVALID_TYPE
          ? err.is("WARN  - UserConfig/Typed/Word: 'a text that is not a number at all' is not a "
                   "number (set in this process)\n")
          : by_code(refused, false);
  return worst({by_code(read, number == 12.5), by_code(converted, angle == 2), refusal});
}

// A set that succeeds reaches the objects that follow the setting; one that is made without memory
// for its key keeps its default.
Outcome follow_setting() {
  constexpr char KEY[] = "UserConfig/Typed/A setting that is followed";
  UserConfig::set_user_config(KEY, "7", /*commit=*/false);
  Setting<long> const followed{KEY, 6};
  unsigned long const result =
      strain([&] { return UserConfig::set_user_config(KEY, "8", /*commit=*/false); });
  long const expected = result == RESULT_SUCCESS ? 8 : 7;
  std::optional<Setting<long>> made;
  strain([&] { return &made.emplace(KEY, 6); });
  bool const is_right = followed.get() == expected && (made->get() == expected || made->get() == 6);
  return is_right ? by_code(result, true) : Outcome::WRONG;
}

Outcome explain_setting() {
  SettingExplanation explanation;
  unsigned long const result =
      strain([&] { return UserConfig::explain_user_config("$Speed", &explanation); });
  bool const is_whole = explanation.key == "UserConfig/Drive/Speed" && explanation.is_set &&
                        explanation.line > 0 && explanation.places.size() > 1;
  return by_code(result, is_whole);
}

Outcome list_aliases() {
  std::vector<SettingAlias> aliases;
  unsigned long const result = strain([&] { return UserConfig::list_aliases(&aliases); });
  return by_code(result, aliases.size() == 5);
}

} // namespace

std::vector<Call> config_calls() {
  return {
      {"load a plain file", load_plain_file},
      {"load a difficult file", load_difficult_file},
      {"miss a source's file", miss_source_file},
      {"read typed values", read_typed_values},
      {"miss a key", miss_key},
      {"edit a file", edit_file},
      {"edit below a key", edit_below_key},
      {"create a file", create_file},
      {"open a repository", open_repository},
      {"get a declared alias", get_declared_alias},
      {"get a built-in alias", get_built_in_alias},
      {"refuse a setting", refuse_setting},
      {"set a setting", set_setting},
      {"commit a setting", commit_setting},
      {"commit several settings", commit_settings},
      {"remove a setting", remove_setting},
      {"reload the settings", reload_settings},
      {"read settings as numbers", read_numbers},
      {"follow a setting", follow_setting},
      {"explain a setting", explain_setting},
      {"list the aliases", list_aliases},
  };
}
