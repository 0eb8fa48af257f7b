// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"

#include "core/base/config/Configuration.hpp"
#include "core/base/config/SettingCache.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/process/NeverDestroyed.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/process/Rundown.hpp"

#include <functional>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace Ostrel {

// Looks up a key, and unlike `find_key` distinguishes a lack of memory from a missing key.
class KeyLookUp {
public:
  // Null if there is no such key. Throws std::bad_alloc without memory.
  static void const *find(Configuration const &configuration, char const *path) {
    return configuration.look_up(path);
  }
};

namespace {

ClassCategory category("Ostrel.Core.Base.UserConfig");

// The settings of the process.
class Settings {
public:
  // Loads the file and the aliases in the first call. After a temporary failure (an error of the
  // device, or no memory: then std::bad_alloc may be thrown) the next call retries.
  unsigned long set_up() {
    if (aliases_are_loaded_) {
      return RESULT_SUCCESS;
    }
    Aliases aliases = {{"VisualAvoidanceTolerance", "UserConfig/VisualAvoidance/Tolerance"},
                       {"ObstacleAvoidanceMethod", "UserConfig/ObstacleAvoidance/Method"}};
    auto configuration = std::make_unique<Configuration>(source_);
    unsigned long const result = load_file(*configuration);
    if (result == RESULT_SYSTEM_ERROR) {
      return RESULT_FAILURE;
    }
    if (result == RESULT_OUT_OF_MEMORY || result == RESULT_ACQUISITION_ERROR) {
      return result;
    }
    if (result == RESULT_SUCCESS) {
      read_declared_aliases(*configuration, &aliases);
      configuration_ = std::move(configuration);
    }
    aliases_ = std::move(aliases);
    aliases_are_loaded_ = true;
    return RESULT_SUCCESS;
  }

  // Returns the full key of an alias with its '$', or the key itself; empty for an unknown alias.
  std::string_view resolve(std::string_view key) const {
    if (key.empty() || key.front() != '$') {
      return key;
    }
    auto const alias = aliases_.find(key.substr(1));
    return alias == aliases_.end() ? std::string_view() : alias->second;
  }

  bool is_available() const { return configuration_ != nullptr; }
  Configuration &configuration() { return *configuration_; }
  SettingCache &cache() { return cache_; }

private:
  using Aliases = std::map<std::string, std::string, std::less<>>;

  unsigned long load_file(Configuration &configuration) {
    std::string path;
    if (unsigned long const result = read_system_property(Platform::CONFIG_PATH, &path);
        result != RESULT_SUCCESS) {
      return result;
    }
    if (unsigned long const result = source_.set_search_path(path.c_str());
        result != RESULT_SUCCESS) {
      return result;
    }
    return configuration.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr);
  }

  // Throws std::bad_alloc without memory, with some aliases added.
  static void read_declared_aliases(Configuration const &configuration, Aliases *aliases) {
    constexpr unsigned int PATH_SIZE = 1024;
    char path[PATH_SIZE];
    for (int i = 0;; ++i) {
      ovra_snprintf(path, PATH_SIZE, "/UserConfig/Aliases/Alias:%d", i);
      void const *const key = KeyLookUp::find(configuration, path);
      if (key == nullptr) {
        return;
      }
      std::string name, value;
      if (read_text(configuration, key, "name", &name) &&
          read_text(configuration, key, "value", &value)) {
        (*aliases)[name] = std::move(value);
      } else {
        category().warn("Unable to parse alias declaration in user configuration: "
                        "Could not find 'value' parameter.");
      }
    }
  }

  // False if there is no such value. Throws std::bad_alloc without memory.
  static bool read_text(Configuration const &configuration, void const *key, char const *name,
                        std::string *text) {
    unsigned long const result = configuration.get_value(key, nullptr, name, text);
    if (result == RESULT_OUT_OF_MEMORY) {
      throw std::bad_alloc();
    }
    return result == RESULT_SUCCESS;
  }

  XmlConfigSource source_;
  std::unique_ptr<Configuration> configuration_; // null until the first call, and without a file
  bool aliases_are_loaded_ = false;
  Aliases aliases_;
  SettingCache cache_;
};

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

Settings &settings() OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::USER_CONFIGURATION)) {
  return *settings_of_process();
}

// Acquires the mutex of the settings and sets them up. Fails after their end.
class OSTBASE_SCOPED_CAPABILITY SettingsLock {
public:
  SettingsLock() OSTBASE_ACQUIRE(ProcessMutex::of(ProcessMutex::USER_CONFIGURATION)) {
    result_ = inside_ && lock_ ? settings().set_up()
                               : static_cast<unsigned long>(RESULT_ACQUISITION_ERROR);
  }

  ~SettingsLock() OSTBASE_RELEASE() = default;
  SettingsLock(SettingsLock const &) = delete;
  SettingsLock &operator=(SettingsLock const &) = delete;

  // RESULT_SUCCESS if the settings can be used.
  unsigned long result() const noexcept { return result_; }

private:
  RundownGuard inside_{Rundown::SETTINGS}; // first: released after the mutex
  ProcessLock lock_{ProcessMutex::USER_CONFIGURATION};
  unsigned long result_;
};

struct SettingKey {
  std::string path; // of the key
  std::string name; // of its value
};

// Splits a full key at its last '/'. Nothing, with a warning, for the empty key of an unknown alias
// and for a malformed one: with fewer than two '/', two in a row, or one at either end.
std::optional<SettingKey> split(std::string_view full_key) {
  std::size_t const first = full_key.find('/'), last = full_key.rfind('/');
  bool const is_well_formed = first != full_key.npos && first != 0 && first != last &&
                              last + 1 != full_key.size() && full_key.find("//") == full_key.npos;
  if (!is_well_formed) {
    category().warn("Malformed key + value. Valid keys should be of the form "
                    "root/key(1..n)/value");
    return std::nullopt;
  }
  return SettingKey{std::string(full_key.substr(0, last)), std::string(full_key.substr(last + 1))};
}

// Maps a failure of the facade to a result of this interface.
unsigned long refusal(unsigned long result) {
  return result == RESULT_OUT_OF_MEMORY ? RESULT_OUT_OF_MEMORY : RESULT_FAILURE;
}

// Looks up a query that is not in the cache. `text` stays null without a settings file, and on
// failure. Throws std::bad_alloc.
unsigned long look_up(Settings &user, SettingCache::Query const &query, std::string const **text) {
  SettingCache::Query const full_key(user.resolve(query.text));
  std::optional<SettingKey> const parts = split(full_key.text);
  if (!parts) {
    return RESULT_FAILURE;
  }
  *text = user.cache().find(full_key);
  if (*text == nullptr) {
    if (!user.is_available()) {
      return RESULT_SUCCESS;
    }
    std::string read;
    unsigned long const result =
        user.configuration().get_value(parts->path.c_str(), parts->name.c_str(), &read);
    if (result != RESULT_SUCCESS) {
      return refusal(result);
    }
    *text = user.cache().add(user.cache().prepare(full_key, std::move(read)));
  }
  user.cache().add_alias(query, full_key);
  return RESULT_SUCCESS;
}

// Throws std::bad_alloc.
unsigned long commit_setting(Configuration &configuration, SettingKey const &key,
                             char const *text) {
  char const *const path = key.path.c_str();
  bool const has_key =
      KeyLookUp::find(configuration, path) != nullptr || configuration.create_key(path) != nullptr;
  unsigned long const result =
      has_key ? configuration.set_value(path, key.name.c_str(), text, /*commit=*/true)
              : static_cast<unsigned long>(RESULT_FAILURE);
  return result == RESULT_SUCCESS ? result : refusal(result);
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
  std::string const *text = settings().cache().find(query);
  unsigned long const result = text == nullptr ? look_up(settings(), query, &text)
                                               : static_cast<unsigned long>(RESULT_SUCCESS);
  if (text != nullptr) {
    *value = *text;
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::set_user_config(char const *key, char const *text, bool commit) try {
  if (text == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  SettingCache::Query const query(key == nullptr ? "" : key);
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  SettingCache &cache = settings().cache();
  SettingCache::Query const full_key(settings().resolve(query.text));
  std::optional<SettingKey> const parts = split(full_key.text);
  if (!parts) {
    return RESULT_FAILURE;
  }
  SettingCache::NewEntry entry = cache.prepare(full_key, text); // before the commit: it can fail
  if (commit && settings().is_available()) {
    unsigned long const result = commit_setting(settings().configuration(), *parts, text);
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  cache.add(std::move(entry));
  cache.add_alias(query, full_key);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
