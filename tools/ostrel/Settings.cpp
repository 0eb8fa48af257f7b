// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Settings.hpp"

#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace Ostrel::Tool {

namespace {

bool is_there(SettingPlace const &place) {
  return place.state != SettingPlace::STATE_NO_FILE;
}

// Reads the settings of a key, and those of all keys below it.
class Walk {
public:
  explicit Walk(XmlConfigSource const &source) : source_(source) {}

  std::vector<StoredSetting> settings() && { return std::move(settings_); }

  void add(void const *key, std::string const &path) {
    add_values(key, path);
    std::map<std::string, int> counts, indexes;
    std::string name;
    for (auto child = source_.find_first(key, &name); child != nullptr;
         child = source_.find_next(child, &name)) {
      ++counts[name];
    }
    for (auto child = source_.find_first(key, &name); child != nullptr;
         child = source_.find_next(child, &name)) {
      int const index = indexes[name]++;
      add(child, path + '/' + name + (counts[name] == 1 ? "" : ":" + std::to_string(index)));
    }
  }

private:
  void add_values(void const *key, std::string const &path) {
    StoredSetting setting;
    source_.get_location(key, &setting.file, &setting.line);
    std::string name;
    for (auto value = source_.find_first_value(key, &name, &setting.text); value != nullptr;
         value = source_.find_next_value(value, &name, &setting.text)) {
      if (!name.empty()) { // the text of a key is no setting
        setting.key = path + '/' + name;
        settings_.push_back(setting);
      }
    }
  }

  XmlConfigSource const &source_;
  std::vector<StoredSetting> settings_;
};

std::vector<std::string> names_of_aliases(std::vector<SettingAlias> const &aliases) {
  std::vector<std::string> names;
  for (SettingAlias const &alias : aliases) {
    names.push_back('$' + alias.name);
  }
  return names;
}

// The library reads any other text behind a ':' as the index 0.
bool has_numbers_as_indexes(std::string const &key) {
  std::vector<std::string> const components = split(key, '/');
  return std::all_of(components.begin(), components.end(), [](std::string const &component) {
    std::size_t const colon = component.find(':');
    return colon == component.npos ||
           (colon + 1 < component.size() &&
            component.find_first_not_of("0123456789", colon + 1) == component.npos);
  });
}

std::optional<std::string> resolve_alias(Output &output, std::string const &alias,
                                         std::vector<SettingAlias> const &aliases, int *status) {
  auto const found =
      std::find_if(aliases.begin(), aliases.end(),
                   [&alias](SettingAlias const &each) { return alias == '$' + each.name; });
  if (found == aliases.end()) {
    output.error("there is no alias '" + alias + "'" +
                 did_you_mean(alias, names_of_aliases(aliases)));
    *status = STATUS_NOT_FOUND;
    return std::nullopt;
  }
  if (!is_well_formed_key(found->key)) {
    output.error("the alias '" + alias + "' stands for '" + found->key +
                 "', which is not of the form ROOT/KEY../VALUE");
    *status = STATUS_UNREADABLE;
    return std::nullopt;
  }
  return found->key;
}

} // namespace

SettingsState load_settings() {
  // What these say about files is in `report_unavailable`, in fewer words.
  Silence const files("Ostrel.Core.Base.XmlConfigSource"), source("Ostrel.Core.Base.Configuration");
  if (UserConfig::is_available()) {
    return SettingsState::AVAILABLE;
  }
  std::vector<SearchedFile> const places = search_settings_file();
  bool const has_file = std::any_of(places.begin(), places.end(), is_there);
  return has_file ? SettingsState::UNREADABLE : SettingsState::MISSING;
}

int report_unavailable(Output &output, SettingsState state) {
  std::string searched;
  for (SettingPlace const &place : search_settings_file()) {
    if (state == SettingsState::UNREADABLE && is_there(place)) {
      output.error("the settings file '" + place.file + "' cannot be read" +
                   (place.fault.empty() ? "" : ": " + place.fault));
      return STATUS_UNREADABLE;
    }
    searched += (searched.empty() ? "" : ", ") + place.file;
  }
  output.error("there is no settings file; looked for: " + searched);
  return STATUS_UNREADABLE;
}

std::vector<StoredSetting> read_stored_settings() {
  Silence const silence;
  XmlConfigSource source;
  Configuration configuration(source);
  if (configuration.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr) !=
      RESULT_SUCCESS) {
    return {};
  }
  std::string name;
  void const *const top = source.find_first(nullptr, &name);
  Walk walk(source);
  walk.add(top, name);
  return std::move(walk).settings();
}

std::vector<std::string> known_keys() {
  std::vector<std::string> keys;
  std::string file;
  for (StoredSetting const &setting : read_stored_settings()) {
    keys.push_back(setting.key);
    file = setting.file;
  }
  std::vector<Finding> faults; // of the schema, which `config check` reports
  if (std::optional<Schema> const schema = read_schema(find_schema(file, "UserConfig"), &faults)) {
    std::vector<std::string> const declared = schema->keys();
    keys.insert(keys.end(), declared.begin(), declared.end());
  }
  return keys;
}

bool is_well_formed_key(std::string_view key) {
  std::size_t const first = key.find('/'), last = key.rfind('/');
  return first != key.npos && first != 0 && first != last && last + 1 != key.size() &&
         key.find("//") == key.npos;
}

std::optional<std::string> resolve_key(Output &output, std::string const &key, int *status) {
  bool const is_alias = starts_with(key, "$");
  if (!is_alias && is_well_formed_key(key) && has_numbers_as_indexes(key)) {
    return key;
  }
  std::vector<SettingAlias> aliases;
  UserConfig::list_aliases(&aliases);
  if (is_alias) {
    return resolve_alias(output, key, aliases, status);
  }
  std::vector<std::string> names = names_of_aliases(aliases);
  std::vector<std::string> const keys = known_keys();
  names.insert(names.end(), keys.begin(), keys.end());
  output.error("'" + key + "' is not of the form ROOT/KEY../VALUE or $ALIAS" +
               did_you_mean(key, names));
  *status = STATUS_USAGE;
  return std::nullopt;
}

int report_missing(Output &output, std::string const &full_key) {
  output.error("there is no setting '" + full_key + "'" + did_you_mean(full_key, known_keys()));
  return STATUS_NOT_FOUND;
}

} // namespace Ostrel::Tool
