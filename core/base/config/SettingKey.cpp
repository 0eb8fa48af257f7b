// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SettingKey.hpp"

namespace Ostrel {

std::optional<SettingKey> SettingKey::split(std::string_view full_key) {
  std::size_t const first = full_key.find('/'), last = full_key.rfind('/');
  bool const is_well_formed = first != full_key.npos && first != 0 && first != last &&
                              last + 1 != full_key.size() && full_key.find("//") == full_key.npos;
  if (!is_well_formed) {
    return std::nullopt;
  }
  return SettingKey{std::string(full_key.substr(0, last)), std::string(full_key.substr(last + 1))};
}

} // namespace Ostrel
