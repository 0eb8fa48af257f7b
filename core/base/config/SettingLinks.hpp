// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <vector>

namespace Ostrel {

class SettingLink;
class Settings;

/// The `Setting` objects of the process. Internal to the library. Guarded by the mutex
/// `USER_CONFIGURATION`, which `refresh` and `refresh_all` need held.
class SettingLinks {
public:
  static void add(SettingLink *link) noexcept;
  static void remove(SettingLink *link) noexcept;

  /// Lets the objects of some settings read them again. Called after each change.
  /// @param full_keys  in ascending order.
  static void refresh(Settings const &settings,
                      std::vector<std::string_view> const &full_keys) noexcept;

  /// The same for all objects. Called after each load of the settings file.
  static void refresh_all() noexcept;

private:
  static SettingLink *_first;
};

} // namespace Ostrel
