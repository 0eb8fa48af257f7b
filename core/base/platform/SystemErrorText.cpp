// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/SystemErrorText.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

SystemErrorText::SystemErrorText() noexcept {
  ovra_snprintf(text_, sizeof text_, "%s", ErrorText().c_str());
}

} // namespace Ostrel
