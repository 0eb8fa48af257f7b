// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"

#include "core/base/config/SettingLinks.hpp"
#include "core/base/config/Settings.hpp"
#include "core/base/foundation/ResultCode.hpp"

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>

namespace Ostrel {

namespace {

struct Change {
  std::string_view key;
  std::optional<std::string_view> text; // none removes the setting
};

// A change whose key is resolved and split. Borrows its texts.
struct ResolvedChange {
  SettingCache::Query query, full_key;
  SettingKey key;
};

// Nothing, with a warning, for a malformed key and an unknown alias. Throws std::bad_alloc.
std::optional<ResolvedChange> resolve(Settings const &settings, std::string_view key) {
  SettingCache::Query const query(key), full_key(settings.resolve(key));
  std::optional<SettingKey> parts = split_setting_key(full_key.text);
  return parts ? std::make_optional(ResolvedChange{query, full_key, std::move(*parts)})
               : std::nullopt;
}

CachedSetting make_setting(Change const &change, bool is_written) {
  CachedSetting setting;
  setting.text = change.text.value_or("");
  setting.is_removed = !change.text;
  setting.is_local = !is_written;
  return setting;
}

bool exists(Settings &settings, SettingCache::Query const &full_key) {
  CachedSetting *setting = nullptr;
  settings.find(full_key, &setting);
  return setting != nullptr;
}

bool is_repeated(std::vector<ResolvedChange> const &changes, SettingCache::Query const &full_key) {
  return std::any_of(changes.begin(), changes.end(), [&full_key](ResolvedChange const &change) {
    return change.full_key == full_key;
  });
}

// Makes all changes or none. Throws std::bad_alloc with nothing changed.
unsigned long change_settings(Settings &settings, std::vector<Change> const &changes, bool commit) {
  bool const is_written = commit && settings.is_available();
  std::vector<ResolvedChange> resolved;
  std::vector<SettingCache::NewEntry> entries; // before the commit: it can fail
  std::vector<SettingChange> file_changes;
  std::vector<std::string_view> full_keys;
  for (Change const &change : changes) {
    std::optional<ResolvedChange> place = resolve(settings, change.key);
    if (!place) {
      return RESULT_FAILURE;
    }
    bool const is_known =
        change.text || exists(settings, place->full_key) || is_repeated(resolved, place->full_key);
    if (!is_known && !is_written) {
      return RESULT_NOT_FOUND;
    }
    entries.push_back(settings.cache().prepare(place->full_key, make_setting(change, is_written),
                                               changes.size()));
    file_changes.push_back({place->key, std::nullopt, is_known});
    if (change.text) {
      file_changes.back().text.emplace(*change.text);
    }
    full_keys.push_back(place->full_key.text);
    resolved.push_back(std::move(*place));
  }
  std::sort(full_keys.begin(), full_keys.end());
  if (is_written) {
    unsigned long const result = settings.file().commit(file_changes);
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  for (SettingCache::NewEntry &entry : entries) {
    settings.cache().add(std::move(entry));
  }
  for (ResolvedChange const &change : resolved) {
    settings.cache().add_alias(change.query, change.full_key);
  }
  SettingLinks::refresh(settings, full_keys);
  return RESULT_SUCCESS;
}

unsigned long change_settings(std::vector<Change> const &changes, bool commit) {
  return with_settings(
      [&](Settings &settings) { return change_settings(settings, changes, commit); });
}

bool has_zero_byte(std::string const &text) {
  return text.find('\0') != text.npos;
}

enum class Reload { ALWAYS, IF_CHANGED };

unsigned long reload_settings(Settings &settings, Reload when) {
  switch (when == Reload::ALWAYS ? SettingsFile::Change::CHANGED
                                 : settings.file().look_for_change()) {
  case SettingsFile::Change::NONE:
    return RESULT_SUCCESS;
  case SettingsFile::Change::MISSING:
    return RESULT_NOT_FOUND;
  case SettingsFile::Change::CHANGED:
    break;
  }
  return settings.reload();
}

} // namespace

unsigned long UserConfig::get_user_config(char const *key, std::string *value) try {
  if (value == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  SettingCache::Query const query(key == nullptr ? "" : key);
  return with_settings([&](Settings &settings) {
    CachedSetting *setting = nullptr;
    unsigned long const result = settings.find(query, &setting);
    if (setting != nullptr) {
      *value = setting->text;
    }
    return result;
  });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::set_user_config(char const *key, char const *text, bool commit) try {
  if (text == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  return change_settings({{key == nullptr ? "" : key, text}}, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long
UserConfig::set_user_configs(std::vector<std::pair<std::string, std::string>> const &settings,
                             bool commit) try {
  std::vector<Change> changes;
  for (auto const &[key, text] : settings) {
    if (has_zero_byte(key) || has_zero_byte(text)) {
      return RESULT_INVALID_ARGUMENT;
    }
    changes.push_back({key, text});
  }
  return changes.empty() ? static_cast<unsigned long>(RESULT_SUCCESS)
                         : change_settings(changes, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::remove_user_config(char const *key, bool commit) try {
  return change_settings({{key == nullptr ? "" : key, std::nullopt}}, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::remove_user_configs(std::vector<std::string> const &keys,
                                              bool commit) try {
  std::vector<Change> changes;
  for (std::string const &key : keys) {
    if (has_zero_byte(key)) {
      return RESULT_INVALID_ARGUMENT;
    }
    changes.push_back({key, std::nullopt});
  }
  return changes.empty() ? static_cast<unsigned long>(RESULT_SUCCESS)
                         : change_settings(changes, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::reload() try {
  return with_settings(
      [](Settings &settings) { return reload_settings(settings, Reload::ALWAYS); });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::reload_if_changed() try {
  return with_settings(
      [](Settings &settings) { return reload_settings(settings, Reload::IF_CHANGED); });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

bool UserConfig::is_available() try {
  bool is_loaded = false;
  with_settings([&is_loaded](Settings &settings) {
    is_loaded = settings.is_available();
    return RESULT_SUCCESS;
  });
  return is_loaded;
} catch (std::bad_alloc const &) {
  return false;
}

unsigned long UserConfig::list_aliases(std::vector<SettingAlias> *aliases) try {
  if (aliases == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  return with_settings([aliases](Settings &settings) {
    *aliases = settings.declarations("");
    return RESULT_SUCCESS;
  });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
