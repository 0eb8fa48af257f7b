// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/Formatting.h"

#include <cstddef>
#include <cstdio>

namespace {

constexpr int DOES_NOT_FIT = -1;

// Without a buffer only the empty text fits.
int format_without_buffer(char const *format, va_list arguments) OSTBASE_PRINTF(1, 0);

int format_without_buffer(char const *format, va_list arguments) {
  return std::vsnprintf(nullptr, 0, format, arguments) == 0 ? 0 : DOES_NOT_FIT;
}

} // namespace

int ovra_vsnprintf(char *buffer, unsigned int size, char const *format,
                   va_list arguments) noexcept {
  if (format == nullptr) {
    return ovra_snprintf(buffer, size, "%s", "");
  }
  if (buffer == nullptr || size == 0) {
    return format_without_buffer(format, arguments);
  }
  buffer[0] = '\0'; // in case formatting fails before the first character
  int const length = std::vsnprintf(buffer, size, format, arguments);
  buffer[size - 1] = '\0';
  return length < 0 || static_cast<unsigned int>(length) > size ? DOES_NOT_FIT : length;
}

int ovra_snprintf(char *buffer, unsigned int size, char const *format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  int const result = ovra_vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return result;
}
