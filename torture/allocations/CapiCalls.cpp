// SPDX-License-Identifier: Apache-2.0
// Logging, arrays, settings and units through the C interface.
#include "core/base/capi/ovra.h"
#include "core/base/foundation/ResultCode.hpp"
#include "torture/allocations/Calls.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <cstring>
#include <string>
#include <vector>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;

Outcome log_from_c() {
  NewText const err(STANDARD_ERROR);
  strain([] {
    ovra_log__warn("Torture.C.Category", "x=%d", "a.c", 12, 5);
    return ovra_log__info("Torture.C.Another.Category", "y=%d", 6);
  });
  std::string const text = err.text();
  return text.find("  x=5 [a.c:12]\n") != text.npos && text.find("INFO  - y=6\n") != text.npos
             ? Outcome::RIGHT
             : Outcome::REFUSED;
}

Outcome use_array_from_c() {
  double const values[] = {1.0, 2.0, 3.0};
  ovra_array *const array = strain([&] { return ovra_doublearray__create(values, 3); });
  if (array == nullptr) {
    return Outcome::REFUSED;
  }
  unsigned long result = RESULT_SUCCESS;
  for (int i = 0; i < 40 && result == RESULT_SUCCESS; ++i) {
    result = strain([&] { return ovra_doublearray__push_back(array, 4.0); });
  }
  bool const is_kept = ovra_doublearray__get(array, 2) == 3.0;
  Outcome const outcome = by_code(result, is_kept && ovra_array__get_size(array) == 43);
  ovra_doublearray__delete(array);
  return is_kept ? outcome : Outcome::WRONG;
}

Outcome get_setting_from_c() {
  char buffer[64] = "before";
  unsigned long const result = strain(
      [&] { return ovra_user_config__get_value("UserConfig/Drive/Speed", buffer, sizeof buffer); });
  return by_code(result, std::strcmp(buffer, "0.75, which is a rather long number") == 0);
}

Outcome convert_units_from_c() {
  double result = 0.0;
  unsigned long const code =
      strain([&] { return ovra_units__convert(0, "m", 2.0, "cm", &result); });
  unsigned long const refused =
      strain([&] { return ovra_units__set_default(0, "a unit that is none at all"); });
  return worst({by_code(code, result == 200.0),
                refused == RESULT_NOT_FOUND ? Outcome::RIGHT : by_code(refused, false)});
}

} // namespace

std::vector<Call> capi_calls() {
  return {
      {"log from C", log_from_c},
      {"use an array from C", use_array_from_c},
      {"get a setting from C", get_setting_from_c},
      {"convert units from C", convert_units_from_c},
  };
}
