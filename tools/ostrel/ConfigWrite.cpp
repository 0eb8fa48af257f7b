// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/ConfigCommands.hpp"

#include "core/base/config/UserConfig.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Settings.hpp"
#include "tools/ostrel/Silence.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace Ostrel::Tool {

namespace {

using Assignments = std::vector<std::pair<std::string, std::string>>; // keys and texts

// The native path of the file from which the settings come.
std::string settings_file(std::string const &key) {
  SettingExplanation explanation;
  UserConfig::explain_user_config(key.c_str(), &explanation);
  for (SettingPlace const &place : explanation.places) {
    if (place.state == SettingPlace::STATE_LOADED) {
      return place.file;
    }
  }
  return {};
}

// Nothing if there is no such setting.
std::optional<std::string> read_text(std::string const &key) {
  Silence const silence;
  std::string text;
  bool const is_read = UserConfig::get_user_config(key.c_str(), &text) == RESULT_SUCCESS;
  return is_read ? std::make_optional(text) : std::nullopt;
}

// Splits at the first '='. An error, and the exit status, if one of them is no assignment to a
// well-formed key.
int parse(Output &output, std::vector<std::string> const &texts, Assignments *assignments) {
  for (std::string const &text : texts) {
    std::size_t const equals = text.find('=');
    if (equals == text.npos) {
      output.error("'" + text + "' is not of the form KEY=VALUE");
      return STATUS_USAGE;
    }
    int status = STATUS_DONE;
    std::optional<std::string> key = resolve_key(output, text.substr(0, equals), &status);
    if (!key) {
      return status;
    }
    assignments->emplace_back(std::move(*key), text.substr(equals + 1));
  }
  return STATUS_DONE;
}

std::string in_quotes(std::optional<std::string> const &text) {
  return text ? "'" + *text + "'" : "(not set)";
}

void print_changes(Output &output, std::string const &file, Assignments const &assignments) {
  nlohmann::json changes = nlohmann::json::array();
  for (auto const &[key, text] : assignments) {
    std::optional<std::string> const before = read_text(key);
    if (output.is_json()) {
      nlohmann::json change = {{"key", key}, {"old", nullptr}, {"new", text}};
      if (before) {
        change["old"] = *before;
      }
      changes.push_back(std::move(change));
    } else {
      output.line(file + ": " + key + ": " + in_quotes(before) + " -> " + in_quotes(text));
    }
  }
  if (output.is_json()) {
    output.print_json({{"file", file}, {"changes", changes}});
  }
}

// Lets the reason of a failed write out, which the library logs as a detail.
void log_write_failures(Output const &output) {
  if (!output.is_quiet()) {
    for (char const *name :
         {"Ostrel.Core.Base.Win32Platform", "Ostrel.Core.Base.XmlConfigSource"}) {
      LoggingCategory &category = LoggingCategory::get_instance(name);
      if (!category.debug_enabled()) {
        category.set_priority(LoggingPriority::LEVEL_DEBUG);
      }
    }
  }
}

int report_unwritten(Output &output, std::string const &what, std::string const &file) {
  output.error(what + " in '" + file + "'");
  return STATUS_NOT_WRITTEN;
}

} // namespace

int run_set(Output &output, std::vector<std::string> const &assignments, bool is_dry_run) {
  if (SettingsState const state = load_settings(); state != SettingsState::AVAILABLE) {
    return report_unavailable(output, state);
  }
  Assignments settings;
  if (int const status = parse(output, assignments, &settings); status != STATUS_DONE) {
    return status;
  }
  std::string const file = settings_file(settings.front().first);
  if (is_dry_run) {
    print_changes(output, file, settings);
    return STATUS_DONE;
  }
  log_write_failures(output);
  if (UserConfig::set_user_configs(settings, /*commit=*/true) != RESULT_SUCCESS) {
    return report_unwritten(output, "nothing was set", file);
  }
  return STATUS_DONE;
}

int run_unset(Output &output, std::vector<std::string> const &keys) {
  if (SettingsState const state = load_settings(); state != SettingsState::AVAILABLE) {
    return report_unavailable(output, state);
  }
  std::vector<std::string> full_keys;
  for (std::string const &key : keys) {
    int status = STATUS_DONE;
    std::optional<std::string> full_key = resolve_key(output, key, &status);
    if (!full_key) {
      return status;
    }
    if (!read_text(*full_key)) {
      return report_missing(output, *full_key);
    }
    if (std::find(full_keys.begin(), full_keys.end(), *full_key) == full_keys.end()) {
      full_keys.push_back(std::move(*full_key));
    }
  }
  std::string const file = settings_file(full_keys.front());
  log_write_failures(output);
  if (UserConfig::remove_user_configs(full_keys, /*commit=*/true) != RESULT_SUCCESS) {
    return report_unwritten(output, "nothing was removed", file);
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
