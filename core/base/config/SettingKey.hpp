// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Ostrel {

/// The full key of a user setting, in its two parts. Internal to the library.
struct SettingKey {
  std::string path; ///< Of the key.
  std::string name; ///< Of its value.

  /// Splits a full key at its last '/'. Nothing if the text is malformed: it has fewer than two
  /// '/', two in a row, or one at either end. Throws `std::bad_alloc`.
  static std::optional<SettingKey> split(std::string_view full_key);
};

} // namespace Ostrel
