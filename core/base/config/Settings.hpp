// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/SettingCache.hpp"
#include "core/base/config/SettingExplanation.hpp"
#include "core/base/config/SettingsFile.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel {

/// The user settings of the process. Internal to the library.
///
/// Guarded by the mutex `USER_CONFIGURATION`. Functions without `noexcept` throw std::bad_alloc
/// without memory.
class Settings {
public:
  /// Loads the file and the aliases in the first call. After a temporary failure (an error of the
  /// device, or no memory) the next call retries.
  unsigned long set_up();

  /// Loads the file and the aliases afresh; on failure everything stays.
  unsigned long reload();

  bool is_available() const noexcept { return file().is_loaded(); }
  SettingsFile &file() noexcept { return reloaded_ == nullptr ? *first_ : *reloaded_; }
  SettingsFile const &file() const noexcept { return reloaded_ == nullptr ? *first_ : *reloaded_; }
  SettingCache &cache() noexcept { return cache_; }

  /// Returns the full key of an alias with its '$', or the key itself; empty for an unknown alias.
  std::string_view resolve(std::string_view key) const;

  /// Finds a setting.
  ///
  /// @param setting  receives null if there is no settings file; untouched on failure.
  /// @return `RESULT_SUCCESS` or `RESULT_FAILURE`, as `get_user_config`.
  unsigned long find(SettingCache::Query const &query, CachedSetting **setting);

  /// The line of a setting in the settings file; 0 if it is unknown, or if the file that is loaded
  /// now has another text.
  long line_of(SettingKey const &key, std::string const &text) const;

  /// The declarations of an alias in the order in which each replaces the one before; for an empty
  /// name the declarations in use, by name.
  std::vector<SettingAlias> declarations(std::string_view name) const;

private:
  struct Alias {
    std::string key;
    int index; // of the declaration in the file; -1 if it is built in
  };
  struct Aliases {
    std::map<std::string, Alias, std::less<>> in_use;
    std::vector<std::pair<std::string, Alias>> replaced; // by later declarations, in their order
  };

  static Aliases built_in_aliases();
  static void read_declarations(SettingsFile const &file, Aliases *aliases);
  SettingAlias describe(std::string const &name, Alias const &alias) const;
  unsigned long look_up(SettingCache::Query const &query, CachedSetting **setting);

  // Without an allocation, which may fail: constructed when the library is loaded.
  std::optional<SettingsFile> first_{std::in_place};
  std::unique_ptr<SettingsFile> reloaded_; // replaces the first
  bool is_set_up_ = false;
  Aliases aliases_;
  SettingCache cache_;
};

using SettingsAction = unsigned long (*)(void const *use, Settings &settings);

unsigned long with_settings(SettingsAction action, void const *use);

/// Calls `use(settings)` with the settings set up, while their mutex is held. Internal to the
/// library.
///
/// @return the result of `use`; else, without the call, `RESULT_ACQUISITION_ERROR` (also after the
///         end of the settings, at unload), or the failure of `Settings::set_up`.
template <class Use> unsigned long with_settings(Use const &use) {
  auto const action = [](void const *erased, Settings &settings) -> unsigned long {
    return (*static_cast<Use const *>(erased))(settings);
  };
  return with_settings(action, &use);
}

} // namespace Ostrel
