// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/TextBuffer.hpp"
#include "core/base/capi/ovra.h"
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"

#include <new>
#include <string>
#include <utility>
#include <vector>

using namespace Ostrel;

unsigned long ovra_user_config__get_value(char const *key, char *buffer,
                                          unsigned int size) noexcept {
  std::string value;
  unsigned long const result = UserConfig::get_user_config(key, &value);
  return result != RESULT_SUCCESS ? result : copy_text(value, buffer, size);
}

unsigned long ovra_user_config__get_double(char const *key, double *value) noexcept {
  return UserConfig::get_user_config(key, value);
}

unsigned long ovra_user_config__get_long(char const *key, long *value) noexcept {
  return UserConfig::get_user_config(key, value);
}

unsigned long ovra_user_config__get_ulong(char const *key, unsigned long *value) noexcept {
  return UserConfig::get_user_config(key, value);
}

unsigned long ovra_user_config__get_bool(char const *key, bool *value) noexcept {
  return UserConfig::get_user_config(key, value);
}

unsigned long ovra_user_config__get_quantity(char const *key, int type, double *value) noexcept {
  return UserConfig::get_user_quantity(key, static_cast<UnitType>(type), value);
}

bool ovra_user_config__is_available(void) noexcept {
  return UserConfig::is_available();
}

unsigned long ovra_user_config__reload(void) noexcept {
  return UserConfig::reload();
}

unsigned long ovra_user_config__reload_if_changed(void) noexcept {
  return UserConfig::reload_if_changed();
}

unsigned long ovra_user_config__set_value(char const *key, char const *value, int commit) noexcept {
  return UserConfig::set_user_config(key, value, commit != 0);
}

unsigned long ovra_user_config__set_values(char const *const *keys, char const *const *values,
                                           unsigned int count, int commit) noexcept try {
  std::vector<std::pair<std::string, std::string>> settings;
  for (unsigned int i = 0; i < count; ++i) {
    if (keys == nullptr || values == nullptr || keys[i] == nullptr || values[i] == nullptr) {
      return RESULT_INVALID_ARGUMENT;
    }
    settings.emplace_back(keys[i], values[i]);
  }
  return UserConfig::set_user_configs(settings, commit != 0);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long ovra_user_config__remove_value(char const *key, int commit) noexcept {
  return UserConfig::remove_user_config(key, commit != 0);
}
