// SPDX-License-Identifier: Apache-2.0
// User settings that are numbers, truth values and quantities.
#include "core/base/config/Settings.hpp"
#include "core/base/config/StrictValue.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"

#include <new>

namespace Ostrel {

namespace {

ClassCategory category("Ostrel.Core.Base.UserConfig");

// The place of a setting's text: the file and the line, as far as they are known.
std::string place_of(Settings &settings, std::string_view full_key, CachedSetting const &setting) {
  if (setting.is_local) {
    return "set in this process";
  }
  std::optional<SettingKey> const key = split_setting_key(full_key);
  return text_of_place(settings.file().path(), key ? settings.line_of(*key, setting.text) : 0);
}

void report(Settings &settings, std::string_view key, std::string const &fault,
            CachedSetting *setting) {
  std::string const full_key(settings.resolve(key));
  std::string const place = place_of(settings, full_key, *setting);
  setting->is_reported = true;
  category().warn("%s: '%s' %s (%s)", full_key.c_str(), setting->text.c_str(), fault.c_str(),
                  place.c_str());
}

// Reads a setting by `read`, which returns what is wrong with its text, or the empty text.
template <class Read> unsigned long read_setting(char const *key, Read read) try {
  SettingCache::Query const query(key == nullptr ? "" : key);
  return with_settings([&](Settings &settings) -> unsigned long {
    CachedSetting *setting = nullptr;
    unsigned long const result = settings.find(query, &setting);
    if (setting == nullptr) {
      return result;
    }
    std::string const fault = read(setting->text);
    if (fault.empty()) {
      return RESULT_SUCCESS;
    }
    if (!setting->is_reported) {
      report(settings, query.text, fault, setting);
    }
    return RESULT_INVALID_TYPE;
  });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

template <class Value> unsigned long read_value(char const *key, Value *value) {
  if (value == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  return read_setting(key, [value](std::string const &text) { return read_strictly(text, value); });
}

} // namespace

unsigned long UserConfig::get_user_config(char const *key, double *value) {
  return read_value(key, value);
}

unsigned long UserConfig::get_user_config(char const *key, long *value) {
  return read_value(key, value);
}

unsigned long UserConfig::get_user_config(char const *key, unsigned long *value) {
  return read_value(key, value);
}

unsigned long UserConfig::get_user_config(char const *key, bool *value) {
  return read_value(key, value);
}

unsigned long UserConfig::get_user_quantity(char const *key, UnitType type, double *value) {
  if (value == nullptr || !is_known_kind(type)) {
    return RESULT_INVALID_ARGUMENT;
  }
  return read_setting(
      key, [type, value](std::string const &text) { return read_quantity(text, type, value); });
}

} // namespace Ostrel
