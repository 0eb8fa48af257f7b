// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/TextBuffer.hpp"
#include "core/base/capi/ovra.h"
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

using namespace Ostrel;

unsigned long ovra_user_config__get_value(char const *key, char *buffer,
                                          unsigned int size) noexcept {
  std::string value;
  unsigned long const result = UserConfig::get_user_config(key, &value);
  return result != RESULT_SUCCESS ? result : copy_text(value, buffer, size);
}

unsigned long ovra_user_config__set_value(char const *key, char const *value, int commit) noexcept {
  return UserConfig::set_user_config(key, value, commit != 0);
}
