// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/WrapperText.hpp"

#include "core/base/foundation/Formatting.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace Ostrel {

std::unique_ptr<char[]> make_wrapper_text(char const *format, va_list arguments) {
  char buffer[WRAPPER_BUFFER_SIZE];
  ovra_vsnprintf(buffer, sizeof buffer, format, arguments);
  std::size_t const size = std::strlen(buffer) + 1;
  std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
  if (text != nullptr) {
    std::memcpy(text.get(), buffer, size);
  }
  return text;
}

} // namespace Ostrel
