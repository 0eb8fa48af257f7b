// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"

#include "core/base/foundation/ResultCode.hpp"

#include <algorithm>
#include <limits>

using namespace Ostrel;

namespace {

// A number that is too large for the enumeration becomes its largest, which is no code either: cut
// to its low bits it could be taken for one.
ResultCode code_of(unsigned long number) {
  return static_cast<ResultCode>(
      std::min<unsigned long>(number, std::numeric_limits<unsigned int>::max()));
}

} // namespace

char const *ovra_result__get_name(unsigned long code) noexcept {
  return result_code_get_name(code_of(code));
}

char const *ovra_result__get_description(unsigned long code) noexcept {
  return result_code_get_str(code_of(code));
}
