// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/ConfigCommands.hpp"

#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Origins.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Settings.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <string_view>

namespace Ostrel::Tool {

namespace {

// Removes the first component of a path, and the separators around it, and returns it.
std::string_view next_component(std::string_view *path) {
  path->remove_prefix(std::min(path->find_first_not_of("/\\"), path->size()));
  std::string_view const component = path->substr(0, path->find_first_of("/\\"));
  path->remove_prefix(component.size());
  return component;
}

// A path without an index means all keys of the name.
bool component_matches(std::string_view component, std::string_view wanted) {
  return component == wanted || component.substr(0, component.find(':')) == wanted ||
         (component.find(':') == component.npos && wanted == std::string(component) + ":0");
}

bool is_at_or_below(std::string_view key, std::string_view path) {
  for (auto wanted = next_component(&path); !wanted.empty(); wanted = next_component(&path)) {
    if (!component_matches(next_component(&key), wanted)) {
      return false;
    }
  }
  return true;
}

// All keys, and the keys above them, without an index at the end.
std::vector<std::string> paths_of(std::vector<StoredSetting> const &settings) {
  std::set<std::string> paths;
  for (StoredSetting const &setting : settings) {
    for (std::size_t end = 0; end != setting.key.npos;) {
      end = setting.key.find('/', end + 1);
      std::string const path = setting.key.substr(0, end);
      std::size_t const index = path.find(':', path.rfind('/') + 1);
      paths.insert(path.substr(0, index));
    }
  }
  return {paths.begin(), paths.end()};
}

void print(Output &output, StoredSetting const &setting, bool with_origin) {
  if (output.is_json()) {
    nlohmann::json object = {{"key", setting.key}, {"value", setting.text}};
    if (with_origin) {
      object["file"] = setting.file;
      object["line"] = setting.line;
    }
    output.print_json(object);
    return;
  }
  std::string const origin =
      with_origin ? place_text(setting.file, setting.line) + ": " : std::string();
  output.line({{origin, Style::FAINT}, {setting.key}, {" = "}, {setting.text}});
}

nlohmann::json explanation_json(SettingExplanation const &explanation) {
  nlohmann::json places = nlohmann::json::array();
  for (SettingPlace const &place : explanation.places) {
    nlohmann::json object = {{"directory", Platform::native_path(place.directory.c_str())},
                             {"file", place.file},
                             {"origin", name_of(place.origin)},
                             {"origin_name", place.origin_name},
                             {"state", name_of(place.state)}};
    if (!place.fault.empty()) {
      object["fault"] = place.fault;
    }
    if (place.has_value) {
      object["value"] = place.value;
      object["line"] = place.line;
    }
    places.push_back(std::move(object));
  }
  nlohmann::json aliases = nlohmann::json::array();
  for (SettingAlias const &alias : explanation.aliases) {
    aliases.push_back(alias_json(alias));
  }
  nlohmann::json object = {{"key", explanation.key},
                           {"value", nullptr},
                           {"aliases", std::move(aliases)},
                           {"places", std::move(places)}};
  if (explanation.is_set) {
    object["value"] = explanation.value;
    object["file"] = explanation.file;
    object["line"] = explanation.line;
  }
  return object;
}

std::string text_of(SettingPlace const &place) {
  switch (place.state) {
  case SettingPlace::STATE_LOADED:
    return "this file";
  case SettingPlace::STATE_SHADOWED:
    return "not read, since an earlier place has the file";
  case SettingPlace::STATE_UNREADABLE:
  case SettingPlace::STATE_NOT_LOADED:
    return "cannot be read";
  case SettingPlace::STATE_NO_FILE:
    break;
  }
  return "no file";
}

void print_place(Output &output, SettingPlace const &place) {
  bool const is_used = place.state == SettingPlace::STATE_LOADED;
  bool const is_whole = place.state != SettingPlace::STATE_NO_FILE && place.fault.empty();
  std::string rest = " (" + origin_text(place.origin, place.origin_name) + "): " + text_of(place);
  if (place.has_value) {
    rest += ", line " + std::to_string(place.line) + ": " + place.value;
  } else if (is_whole) {
    rest += ", without this setting";
  } else if (!place.fault.empty()) {
    rest += ": " + place.fault;
  }
  output.line({{"  "}, {place.file, is_used ? Style::STRONG : Style::FAINT}, {rest}});
}

void print(Output &output, SettingExplanation const &explanation) {
  output.line({{explanation.key, Style::STRONG},
               {explanation.is_set ? " = " : " is not set"},
               {explanation.value}});
  if (explanation.is_set) {
    output.line("from " + place_text(explanation.file, explanation.line));
  }
  for (SettingAlias const &alias : explanation.aliases) {
    output.line("alias $" + alias.name + " = " + alias.key + " (" + origin_text(alias) + ")");
  }
  output.line("places, in the order of the search:");
  for (SettingPlace const &place : explanation.places) {
    print_place(output, place);
  }
}

// False if there is no such key or alias. A file that cannot be read may declare the alias: then
// the places show the file.
bool explain(std::string const &key, SettingsState state, SettingExplanation *explanation) {
  Silence const silence;
  if (UserConfig::explain_user_config(key.c_str(), explanation) == RESULT_SUCCESS) {
    return true;
  }
  std::vector<SearchedFile> const places = search_settings_file();
  explanation->key = key;
  explanation->places.assign(places.begin(), places.end());
  return state != SettingsState::AVAILABLE && key.rfind('$', 0) == 0;
}

} // namespace

int run_list(Output &output, std::string const &named_path, bool with_origin) {
  if (SettingsState const state = load_settings(); state != SettingsState::AVAILABLE) {
    return report_unavailable(output, state);
  }
  int status = STATUS_DONE;
  std::optional<std::string> const path = starts_with(named_path, "$")
                                              ? resolve_key(output, named_path, &status)
                                              : std::optional(named_path);
  if (!path) {
    return status;
  }
  std::vector<StoredSetting> const settings = read_stored_settings();
  bool has_any = path->empty();
  for (StoredSetting const &setting : settings) {
    if (is_at_or_below(setting.key, *path)) {
      print(output, setting, with_origin);
      has_any = true;
    }
  }
  if (!has_any) {
    output.error("there is no setting at or below '" + *path + "'" +
                 did_you_mean(*path, paths_of(settings)));
  }
  return has_any ? STATUS_DONE : STATUS_NOT_FOUND;
}

int run_explain(Output &output, std::string const &key) {
  SettingsState const state = load_settings();
  SettingExplanation explanation;
  if (!explain(key, state, &explanation)) {
    int status = STATUS_NOT_FOUND;
    resolve_key(output, key, &status);
    return status;
  }
  if (output.is_json()) {
    output.print_json(explanation_json(explanation));
  } else {
    print(output, explanation);
  }
  if (state != SettingsState::AVAILABLE) {
    return report_unavailable(output, state);
  }
  return explanation.is_set ? STATUS_DONE : report_missing(output, explanation.key);
}

} // namespace Ostrel::Tool
