// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/TextBuffer.hpp"

#include "core/base/foundation/ResultCode.hpp"

#include <cstring>

namespace Ostrel {

unsigned long copy_text(std::string_view text, char *buffer, unsigned int size) noexcept {
  if (buffer == nullptr || text.size() >= size) {
    return RESULT_BUFFER_TOO_SMALL;
  }
  std::memcpy(buffer, text.data(), text.size());
  std::memset(buffer + text.size(), 0, size - text.size());
  return RESULT_SUCCESS;
}

} // namespace Ostrel
