// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"

#include "core/base/foundation/ResultCode.hpp"

using namespace Ostrel;

char const *ovra_result__get_name(unsigned long code) noexcept {
  return result_code_get_name(code);
}

char const *ovra_result__get_description(unsigned long code) noexcept {
  return result_code_get_str(code);
}
