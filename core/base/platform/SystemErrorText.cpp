// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/SystemErrorText.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstring>

namespace Ostrel {

SystemErrorText::SystemErrorText() noexcept {
  constexpr DWORD FLAGS = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  DWORD const error = GetLastError();
  if (FormatMessageA(FLAGS, nullptr, error, 0, text_, sizeof text_, nullptr) == 0) {
    ovra_snprintf(text_, sizeof text_, "error %lu", static_cast<unsigned long>(error));
  }
  text_[std::strcspn(text_, "\r\n")] = '\0'; // Windows ends the text as a line
}

} // namespace Ostrel
