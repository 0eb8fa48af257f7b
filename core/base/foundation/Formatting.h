// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Bounded formatting; C can read this header as well.

#include "core/base/foundation/Export.h"

#ifdef __cplusplus
#include <cstdarg>
extern "C" {
#else
#include <stdarg.h>
#endif

/// Formats into a buffer of `size` characters, which is terminated whatever happens.
///
/// Nothing is written when the buffer is null or `size` is 0. A null format is an empty one.
///
/// @return the length of the text when it is shorter than `size` and so stands in the buffer whole;
///         `size` when the text has exactly that length, of which the last character is lost; a
///         negative value when it is longer, or cannot be formatted. Without a buffer: 0 for an
///         empty text and a negative value for any other.
OSTBASE_API int ovra_vsnprintf(char *buffer, unsigned int size, char const *format,
                               va_list arguments) OSTBASE_NOEXCEPT OSTBASE_PRINTF(3, 0);

/// The same with the values given one by one.
OSTBASE_API int ovra_snprintf(char *buffer, unsigned int size, char const *format,
                              ...) OSTBASE_NOEXCEPT OSTBASE_PRINTF(3, 4);

#ifdef __cplusplus
}
#endif
