// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

class SettingLink;

/// The `Setting` objects of the process. Internal to the library. Guarded by the mutex
/// `USER_CONFIGURATION`, which `refresh` needs held.
class SettingLinks {
public:
  static void add(SettingLink *link) noexcept;
  static void remove(SettingLink *link) noexcept;

  /// Lets every setting read its value again. Called after each change.
  static void refresh() noexcept;

private:
  static SettingLink *_first;
};

} // namespace Ostrel
