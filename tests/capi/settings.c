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
  CHECK(ovra_user_config__set_value(key, NULL, 0) == REFUSED)
  return NULL;
}
