// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"

#include "core/base/config/SettingLinks.hpp"
#include "core/base/config/Settings.hpp"
#include "core/base/foundation/ResultCode.hpp"

#include <new>
#include <optional>
#include <string_view>

namespace Ostrel {

namespace {

struct NewText {
  std::string_view key, text;
};

struct Change {
  SettingCache::Query query; // borrowed
  SettingCache::Query full_key;
  SettingKey key;
};

// Nothing, with a warning, for a malformed key and an unknown alias. Throws std::bad_alloc.
std::optional<Change> make_change(Settings const &settings, std::string_view key) {
  SettingCache::Query const query(key), full_key(settings.resolve(key));
  std::optional<SettingKey> parts = split_setting_key(full_key.text);
  return parts ? std::make_optional(Change{query, full_key, std::move(*parts)}) : std::nullopt;
}

// Throws std::bad_alloc with nothing changed.
unsigned long set_all(NewText const *begin, NewText const *end, bool commit) {
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  Settings &settings = lock.settings();
  bool const is_written = commit && settings.is_available();
  std::vector<Change> changes;
  std::vector<SettingCache::NewEntry> entries; // before the commit: it can fail
  std::vector<SettingChange> file_changes;
  for (NewText const *text = begin; text != end; ++text) {
    std::optional<Change> change = make_change(settings, text->key);
    if (!change) {
      return RESULT_FAILURE;
    }
    CachedSetting setting;
    setting.text = text->text;
    setting.is_local = !is_written;
    auto const count = static_cast<std::size_t>(end - begin);
    entries.push_back(settings.cache().prepare(change->full_key, std::move(setting), count));
    if (is_written) {
      file_changes.push_back({change->key, std::string(text->text)});
    }
    changes.push_back(std::move(*change));
  }
  if (is_written) {
    if (unsigned long const result = settings.file().commit(file_changes);
        result != RESULT_SUCCESS) {
      return result;
    }
  }
  for (SettingCache::NewEntry &entry : entries) {
    settings.cache().add(std::move(entry));
  }
  for (Change const &change : changes) {
    settings.cache().add_alias(change.query, change.full_key);
  }
  SettingLinks::refresh();
  return RESULT_SUCCESS;
}

bool has_zero_byte(std::string const &text) {
  return text.find('\0') != text.npos;
}

unsigned long reload_settings(bool even_if_unchanged) {
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  Settings &settings = lock.settings();
  if (!even_if_unchanged && settings.is_available() && !settings.file().has_changed()) {
    return RESULT_SUCCESS;
  }
  unsigned long const result = settings.reload();
  if (result == RESULT_SUCCESS) {
    SettingLinks::refresh();
  }
  return result;
}

} // namespace

unsigned long UserConfig::get_user_config(char const *key, std::string *value) try {
  if (value == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  SettingCache::Query const query(key == nullptr ? "" : key);
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  CachedSetting *setting = nullptr;
  unsigned long const result = lock.settings().find(query, &setting);
  if (setting != nullptr) {
    *value = setting->text;
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::set_user_config(char const *key, char const *text, bool commit) try {
  if (text == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  NewText const change = {key == nullptr ? "" : key, text};
  return set_all(&change, &change + 1, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long
UserConfig::set_user_configs(std::vector<std::pair<std::string, std::string>> const &settings,
                             bool commit) try {
  std::vector<NewText> changes;
  for (auto const &[key, text] : settings) {
    if (has_zero_byte(key) || has_zero_byte(text)) {
      return RESULT_INVALID_ARGUMENT;
    }
    changes.push_back({key, text});
  }
  return changes.empty() ? static_cast<unsigned long>(RESULT_SUCCESS)
                         : set_all(changes.data(), changes.data() + changes.size(), commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::remove_user_config(char const *key, bool commit) try {
  SettingCache::Query const query(key == nullptr ? "" : key);
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  Settings &settings = lock.settings();
  std::optional<Change> const change = make_change(settings, query.text);
  if (!change) {
    return RESULT_FAILURE;
  }
  CachedSetting *known = nullptr;
  settings.find(change->full_key, &known);
  if (known == nullptr) {
    return RESULT_NOT_FOUND;
  }
  CachedSetting removed;
  removed.is_removed = true;
  removed.is_local = !commit || !settings.is_available();
  SettingCache::NewEntry entry = settings.cache().prepare(change->full_key, removed);
  if (!removed.is_local) {
    unsigned long const result = settings.file().commit({{change->key, std::nullopt}});
    // A setting that only this process has, or that another has removed, is not in the file.
    if (result != RESULT_SUCCESS && result != RESULT_NOT_FOUND) {
      return result;
    }
  }
  settings.cache().add(std::move(entry));
  settings.cache().add_alias(query, change->full_key);
  SettingLinks::refresh();
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::reload() try {
  return reload_settings(/*even_if_unchanged=*/true);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::reload_if_changed() try {
  return reload_settings(/*even_if_unchanged=*/false);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

bool UserConfig::is_available() try {
  SettingsLock const lock;
  return lock.result() == RESULT_SUCCESS && lock.settings().is_available();
} catch (std::bad_alloc const &) {
  return false;
}

unsigned long UserConfig::list_aliases(std::vector<SettingAlias> *aliases) try {
  if (aliases == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  SettingsLock const lock;
  if (lock.result() == RESULT_SUCCESS) {
    *aliases = lock.settings().declarations("");
  }
  return lock.result();
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
