// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace Ostrel {

/// Copies a text into a buffer of `size` bytes and fills the rest, at least one byte, with zeros.
/// Internal to the library.
///
/// @param buffer  null is too small for any text.
/// @return `RESULT_SUCCESS`, or `RESULT_BUFFER_TOO_SMALL` with the buffer untouched.
unsigned long copy_text(std::string_view text, char *buffer, unsigned int size) noexcept;

} // namespace Ostrel
