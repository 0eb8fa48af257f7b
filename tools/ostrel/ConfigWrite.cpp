// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/ConfigCommands.hpp"

#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Settings.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <unistd.h>

namespace Ostrel::Tool {

namespace {

using Assignments = std::vector<std::pair<std::string, std::string>>; // keys and texts

// The native path of the file from which the settings come. A note if that is not the one that is
// searched first.
std::string settings_file(Output &output, std::string const &key) {
  SettingExplanation explanation;
  UserConfig::explain_user_config(key.c_str(), &explanation);
  auto const &places = explanation.places;
  auto const loaded = std::find_if(places.begin(), places.end(), [](SettingPlace const &place) {
    return place.state == SettingPlace::STATE_LOADED;
  });
  if (loaded == places.end()) {
    return {};
  }
  if (loaded != places.begin()) {
    std::string const &fault = places.front().fault;
    output.error("the settings file is '" + loaded->file + "'; '" + places.front().file + "' " +
                 (fault.empty() ? "does not exist" : "is passed over: " + fault));
  }
  return loaded->file;
}

// Nothing if there is no such setting.
std::optional<std::string> read_text(std::string const &key) {
  Silence const silence;
  std::string text;
  bool const is_read = UserConfig::get_user_config(key.c_str(), &text) == RESULT_SUCCESS;
  return is_read ? std::make_optional(text) : std::nullopt;
}

int report_unwritten(Output &output, std::string const &what, std::string const &file) {
  output.error(what + " in '" + file + "'");
  return STATUS_NOT_WRITTEN;
}

// A file that its permissions protect is refused before the attempt, so that a dry run tells.
int check_writable(Output &output, std::string const &file) {
  if (access(file.c_str(), W_OK) != 0 && errno != ENOENT) {
    output.error("'" + file + "' may not be written: " + grant("w", file) +
                 "; nothing was changed");
    return STATUS_NOT_WRITTEN;
  }
  return STATUS_DONE;
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
    auto known = std::find_if(assignments->begin(), assignments->end(),
                              [&key](auto const &assignment) { return assignment.first == *key; });
    if (known == assignments->end()) {
      known = assignments->emplace(known, std::move(*key), "");
    }
    known->second = text.substr(equals + 1); // of one key given twice, the last text counts
  }
  return STATUS_DONE;
}

// Whether a set would create more keys than anybody wants: all up to the index.
bool has_large_index(std::string const &component) {
  constexpr std::size_t MOST_DIGITS = 4;
  std::size_t const colon = component.find(':');
  return colon != component.npos && component.size() - colon - 1 > MOST_DIGITS;
}

// Sets the text in a copy of the file that is never written, to learn whether key and text can be
// part of it.
bool is_settable(Configuration &configuration, std::string const &key, std::string const &text) {
  std::vector<std::string> const components = split(key, '/');
  if (std::any_of(components.begin(), components.end(), has_large_index)) {
    return false;
  }
  void const *parent = configuration.find_key(components.front().c_str());
  for (std::size_t i = 1; i + 1 < components.size() && parent != nullptr; ++i) {
    void const *const sub_key = configuration.find_key(parent, components[i].c_str());
    parent = sub_key != nullptr
                 ? sub_key
                 : configuration.create_sub_key(parent, components[i].c_str(), /*commit=*/false);
  }
  return parent != nullptr &&
         configuration.set_value(parent, nullptr, components.back().c_str(), text.c_str(),
                                 /*commit=*/false) == RESULT_SUCCESS;
}

// The exit status, after an error, if a key or text is refused or the file cannot be written.
int check_settable(Output &output, std::string const &file, Assignments const &assignments) {
  XmlConfigSource source;
  Configuration configuration(source);
  configuration.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr);
  for (auto const &[key, text] : assignments) {
    std::string const root = key.substr(0, key.find('/'));
    if (configuration.find_key(root.c_str()) == nullptr) {
      output.error("'" + key + "' does not begin with the top key of the file; nothing was set");
      return STATUS_USAGE;
    }
    if (!is_settable(configuration, key, text)) {
      output.error("'" + key + "' cannot be set to '" + text + "'; nothing was set");
      return STATUS_USAGE;
    }
  }
  return check_writable(output, file);
}

struct Change {
  std::string key;
  std::optional<std::string> before, after;
};

std::vector<Change> changes_of(Assignments const &assignments) {
  std::vector<Change> changes;
  for (auto const &[key, text] : assignments) {
    changes.push_back({key, read_text(key), text});
  }
  return changes;
}

// A new setting is no fault, but may be a known one whose name is misspelt.
void note_new_settings(Output &output, std::vector<Change> const &changes) {
  if (std::all_of(changes.begin(), changes.end(),
                  [](Change const &change) { return change.before.has_value(); })) {
    return;
  }
  std::vector<std::string> const known = known_keys();
  for (Change const &change : changes) {
    bool const is_known = change.before || std::count(known.begin(), known.end(), change.key) > 0;
    std::string const meant = is_known ? "" : did_you_mean(change.key, known);
    if (!meant.empty()) {
      output.error("'" + change.key + "' is a new setting" + meant);
    }
  }
}

std::string in_quotes(std::optional<std::string> const &text) {
  return text ? "'" + *text + "'" : "(not set)";
}

nlohmann::json json_of(std::optional<std::string> const &text) {
  return text ? nlohmann::json(*text) : nlohmann::json();
}

void print_changes(Output &output, std::string const &file, std::vector<Change> const &changes) {
  for (Change const &change : changes) {
    output.line(file + ": " + change.key + ": " + in_quotes(change.before) + " -> " +
                in_quotes(change.after));
  }
}

void print_json(Output &output, std::string const &file, std::vector<Change> const &changes,
                bool is_written) {
  nlohmann::json list = nlohmann::json::array();
  for (Change const &change : changes) {
    list.push_back(
        {{"key", change.key}, {"old", json_of(change.before)}, {"new", json_of(change.after)}});
  }
  output.print_json({{"file", file}, {"changes", list}, {"written", is_written}});
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

} // namespace

int run_set(Output &output, std::vector<std::string> const &assignments, bool is_dry_run) {
  if (SettingsState const state = load_settings(); state != SettingsState::AVAILABLE) {
    return report_unavailable(output, state);
  }
  Assignments settings;
  if (int const status = parse(output, assignments, &settings); status != STATUS_DONE) {
    return status;
  }
  std::string const file = settings_file(output, settings.front().first);
  if (int const status = check_settable(output, file, settings); status != STATUS_DONE) {
    return status;
  }
  std::vector<Change> const changes = changes_of(settings);
  note_new_settings(output, changes);
  if (!is_dry_run) {
    log_write_failures(output);
    if (UserConfig::set_user_configs(settings, /*commit=*/true) != RESULT_SUCCESS) {
      return report_unwritten(output, "nothing was set", file);
    }
  }
  if (output.is_json()) {
    print_json(output, file, changes, /*is_written=*/!is_dry_run);
  } else if (is_dry_run) {
    print_changes(output, file, changes);
  }
  return STATUS_DONE;
}

int run_unset(Output &output, std::vector<std::string> const &keys) {
  if (SettingsState const state = load_settings(); state != SettingsState::AVAILABLE) {
    return report_unavailable(output, state);
  }
  std::vector<std::string> full_keys;
  std::vector<Change> changes;
  for (std::string const &key : keys) {
    int status = STATUS_DONE;
    std::optional<std::string> full_key = resolve_key(output, key, &status);
    if (!full_key) {
      return status;
    }
    std::optional<std::string> const before = read_text(*full_key);
    if (!before) {
      return report_missing(output, *full_key);
    }
    if (std::find(full_keys.begin(), full_keys.end(), *full_key) == full_keys.end()) {
      changes.push_back({*full_key, before, std::nullopt});
      full_keys.push_back(std::move(*full_key));
    }
  }
  std::string const file = settings_file(output, full_keys.front());
  if (int const status = check_writable(output, file); status != STATUS_DONE) {
    return status;
  }
  log_write_failures(output);
  if (UserConfig::remove_user_configs(full_keys, /*commit=*/true) != RESULT_SUCCESS) {
    return report_unwritten(output, "nothing was removed", file);
  }
  if (output.is_json()) {
    print_json(output, file, changes, /*is_written=*/true);
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
