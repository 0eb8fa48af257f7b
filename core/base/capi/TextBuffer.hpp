// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace Ostrel {

/// Copies a text with its zero byte into a caller's buffer of `size` bytes, whose rest is filled
/// with zeros. Internal to the library.
///
/// @param buffer  null is too small for any text.
/// @return `RESULT_SUCCESS` or, with the buffer untouched, `RESULT_BUFFER_TOO_SMALL`.
unsigned long copy_text(std::string_view text, char *buffer, unsigned int size) noexcept;

} // namespace Ostrel
