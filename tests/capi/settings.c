/* SPDX-License-Identifier: Apache-2.0 */
#include "tests/capi/check.h"

#include "core/base/capi/ovra.h"

#include <string.h>

char const *check_settings(void) {
  char const *const key = "UserConfig/Written/By";
  char text[8] = "stale";
  CHECK(ovra_user_config__set_value("UserConfig/Kept/For", "now", 0) == 0)
  CHECK(ovra_user_config__set_value(key, "C99!", 2) == 0)
  CHECK(ovra_user_config__get_value(key, text, 4) == TOO_SMALL)
  CHECK(ovra_user_config__get_value(key, NULL, 8) == TOO_SMALL)
  CHECK(ovra_user_config__get_value(NULL, text, 8) == FAILURE && strcmp(text, "stale") == 0)
  CHECK(ovra_user_config__get_value(key, text, 5) == 0 && strcmp(text, "C99!") == 0)
  CHECK(ovra_user_config__set_value(NULL, "1", 0) == FAILURE)
  char const *const keys[] = {"UserConfig/Read/Number", "UserConfig/Read/Angle"};
  char const *const values[] = {"12", "180 deg"};
  double number = 0;
  long whole = 0;
  unsigned long from_zero = 0;
  bool is_set = true;
  CHECK(ovra_user_config__set_values(keys, values, 2, 0) == 0)
  CHECK(ovra_user_config__set_values(keys, NULL, 2, 0) == REFUSED)
  CHECK(ovra_user_config__get_double(keys[0], &number) == 0 && number == 12)
  CHECK(ovra_user_config__get_long(keys[0], &whole) == 0 && whole == 12)
  CHECK(ovra_user_config__get_ulong(keys[0], &from_zero) == 0 && from_zero == 12)
  CHECK(ovra_user_config__get_bool(keys[0], &is_set) == OVRA_RESULT_INVALID_TYPE && is_set)
  CHECK(ovra_user_config__get_quantity(keys[1], OVRA_UNIT_TYPE_ANGLE, &number) == 0)
  CHECK(number > 3.14159 && number < 3.14160)
  CHECK(ovra_user_config__is_available() && ovra_user_config__reload_if_changed() == 0)
  CHECK(ovra_user_config__remove_value(keys[0], 0) == 0 && ovra_user_config__reload() == 0)
  CHECK(ovra_user_config__get_double(keys[0], NULL) == REFUSED)
  CHECK(ovra_user_config__get_double(keys[0], &number) == FAILURE)
  CHECK(ovra_user_config__set_value(key, NULL, 0) == REFUSED)
  return NULL;
}
