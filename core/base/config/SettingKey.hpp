// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Ostrel {

/// The two parts of the full key of a user setting. Internal to the library.
struct SettingKey {
  std::string path; ///< Of the key.
  std::string name; ///< Of its value.

  /// Splits a full key at its last '/'. Returns nothing for a malformed key: one with fewer than
  /// two '/', two in a row, or one at either end. Throws `std::bad_alloc`.
  static std::optional<SettingKey> split(std::string_view full_key);
};

} // namespace Ostrel
