// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/Settings.hpp"

#include "core/base/config/SettingLinks.hpp"
#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/process/NeverDestroyed.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/process/Rundown.hpp"

#include <optional>
#include <utility>

namespace Ostrel {

namespace {

constexpr int BUILT_IN = -1;

ClassCategory category("Ostrel.Core.Base.UserConfig");

// Empty after their end.
std::optional<Settings> &settings_of_process() {
  static NeverDestroyed<std::optional<Settings>> instance(std::in_place);
  return *instance;
}

// Constructed at load, so that the destructors of the program can still use the settings. Does not
// destroy the settings while another thread is in a call.
class SettingsEnd {
public:
  SettingsEnd() { settings_of_process(); }
  SettingsEnd(SettingsEnd const &) = delete;
  SettingsEnd &operator=(SettingsEnd const &) = delete;
  ~SettingsEnd() {
    if (Rundown::close(Rundown::SETTINGS)) {
      settings_of_process().reset();
    }
  }
};

SettingsEnd &settings_end() {
  static SettingsEnd instance;
  return instance;
}

[[maybe_unused]] SettingsEnd &built_at_load = settings_end();

void const *find_declaration(SettingsFile const &file, int index) {
  constexpr unsigned int PATH_SIZE = 1024;
  char path[PATH_SIZE];
  ovra_snprintf(path, PATH_SIZE, "/UserConfig/Aliases/Alias:%d", index);
  return file.find_key(path);
}

bool read_declaration(SettingsFile const &file, void const *key, std::string *name,
                      std::string *full_key) {
  return file.read(key, "name", name) && file.read(key, "value", full_key);
}

} // namespace

unsigned long Settings::set_up() {
  if (is_set_up_) {
    return RESULT_SUCCESS;
  }
  Aliases aliases = built_in_aliases();
  unsigned long const result = file().load();
  if (result == RESULT_SYSTEM_ERROR) {
    return RESULT_FAILURE;
  }
  if (result == RESULT_OUT_OF_MEMORY || result == RESULT_ACQUISITION_ERROR) {
    return result;
  }
  if (result == RESULT_SUCCESS) {
    read_declarations(file(), &aliases);
  }
  aliases_ = std::move(aliases);
  is_set_up_ = true;
  SettingLinks::refresh_all();
  return RESULT_SUCCESS;
}

unsigned long Settings::reload() {
  auto file = std::make_unique<SettingsFile>();
  Aliases aliases = built_in_aliases();
  if (unsigned long const result = file->load(); result != RESULT_SUCCESS) {
    return result == RESULT_SYSTEM_ERROR ? static_cast<unsigned long>(RESULT_FAILURE) : result;
  }
  read_declarations(*file, &aliases);
  reloaded_ = std::move(file);
  first_.reset();
  aliases_ = std::move(aliases);
  cache_.forget_file();
  SettingLinks::refresh_all();
  return RESULT_SUCCESS;
}

Settings::Aliases Settings::built_in_aliases() {
  Aliases aliases;
  aliases.in_use = {
      {"VisualAvoidanceTolerance", {"UserConfig/VisualAvoidance/Tolerance", BUILT_IN}},
      {"ObstacleAvoidanceMethod", {"UserConfig/ObstacleAvoidance/Method", BUILT_IN}}};
  return aliases;
}

void Settings::read_declarations(SettingsFile const &file, Aliases *aliases) {
  for (int index = 0;; ++index) {
    void const *const key = find_declaration(file, index);
    if (key == nullptr) {
      return;
    }
    std::string name, full_key;
    if (!read_declaration(file, key, &name, &full_key)) {
      category().warn("Unable to parse alias declaration in user configuration: "
                      "Could not find 'value' parameter.");
      continue;
    }
    auto const [known, is_new] =
        aliases->in_use.try_emplace(std::move(name), Alias{full_key, index});
    if (!is_new) {
      aliases->replaced.emplace_back(known->first, known->second);
      known->second = {std::move(full_key), index};
    }
  }
}

std::string_view Settings::resolve(std::string_view key) const {
  if (key.empty() || key.front() != '$') {
    return key;
  }
  auto const alias = aliases_.in_use.find(key.substr(1));
  return alias == aliases_.in_use.end() ? std::string_view() : alias->second.key;
}

unsigned long Settings::find(SettingCache::Query const &query, CachedSetting **setting) {
  CachedSetting *found = cache_.find(query);
  if (found == nullptr) {
    if (unsigned long const result = look_up(query, &found); result != RESULT_SUCCESS) {
      return result;
    }
  }
  if (found != nullptr && found->is_removed) {
    return RESULT_FAILURE;
  }
  *setting = found;
  return RESULT_SUCCESS;
}

// Looks up a query that is not in the cache. `setting` stays null without a settings file, and on
// failure.
unsigned long Settings::look_up(SettingCache::Query const &query, CachedSetting **setting) {
  SettingCache::Query const full_key(resolve(query.text));
  std::optional<SettingKey> const key = split_setting_key(full_key.text);
  if (!key) {
    return RESULT_FAILURE;
  }
  *setting = cache_.find(full_key);
  if (*setting == nullptr) {
    if (!is_available()) {
      return RESULT_SUCCESS;
    }
    CachedSetting read;
    if (!file().read(*key, &read.text)) {
      return RESULT_FAILURE;
    }
    *setting = cache_.add(cache_.prepare(full_key, std::move(read)));
  }
  cache_.add_alias(query, full_key);
  return RESULT_SUCCESS;
}

long Settings::line_of(SettingKey const &key, std::string const &text) const {
  std::string present;
  bool const is_same = file().read(key, &present) && present == text;
  return is_same ? file().line_of(file().find_key(key.path.c_str())) : 0;
}

std::vector<SettingAlias> Settings::declarations(std::string_view name) const {
  std::vector<SettingAlias> result;
  for (auto const &[replaced, alias] : aliases_.replaced) {
    if (replaced == name) {
      result.push_back(describe(replaced, alias));
    }
  }
  for (auto const &[used, alias] : aliases_.in_use) {
    if (name.empty() || used == name) {
      result.push_back(describe(used, alias));
    }
  }
  return result;
}

// The line is that of the present document, if the declaration still stands there.
SettingAlias Settings::describe(std::string const &name, Alias const &alias) const {
  SettingAlias result{name, alias.key, "", 0};
  if (alias.index != BUILT_IN) {
    result.file = file().path();
    void const *const key = find_declaration(file(), alias.index);
    std::string present_name, present_key;
    bool const is_same = key != nullptr &&
                         read_declaration(file(), key, &present_name, &present_key) &&
                         present_name == name && present_key == alias.key;
    result.line = is_same ? file().line_of(key) : 0;
  }
  return result;
}

unsigned long with_settings(SettingsAction action, void const *use) {
  RundownGuard const inside(Rundown::SETTINGS); // first: left after the mutex is released
  ProcessLock const lock(ProcessMutex::USER_CONFIGURATION);
  if (!inside || !lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  Settings &settings = *settings_of_process();
  unsigned long const result = settings.set_up();
  return result == RESULT_SUCCESS ? action(use, settings) : result;
}

} // namespace Ostrel
