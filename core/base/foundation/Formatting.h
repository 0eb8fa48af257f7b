// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Bounded formatting, for C and C++.

#include "core/base/foundation/Export.h"

#ifdef __cplusplus
#include <cstdarg>
extern "C" {
#else
#include <stdarg.h>
#endif

/// Formats into a buffer of `size` characters and always terminates it.
///
/// Writes nothing if the buffer is null or `size` is 0. A null format is an empty one.
///
/// @return the length of the text if it is less than `size`; `size` if the text has exactly that
///         length, in which case its last character is lost; a negative value if the text is longer
///         or cannot be formatted. Without a buffer: 0 for an empty text, otherwise a negative
///         value.
OSTBASE_API int ovra_vsnprintf(char *buffer, unsigned int size, char const *format,
                               va_list arguments) OSTBASE_NOEXCEPT OSTBASE_PRINTF(3, 0);

/// The same with a variable number of arguments.
OSTBASE_API int ovra_snprintf(char *buffer, unsigned int size, char const *format,
                              ...) OSTBASE_NOEXCEPT OSTBASE_PRINTF(3, 4);

#ifdef __cplusplus
}
#endif
