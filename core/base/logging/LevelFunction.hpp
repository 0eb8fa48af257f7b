// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The common body of the level functions: only a macro can turn the variable arguments of each
/// function into a `va_list`. Internal to the library.

#include <cstdarg>

/// Defines the level function `type::name`, which calls `forward(first, format, arguments)`.
#define OSTBASE_LEVEL_FUNCTION(type, name, forward, first)                                         \
  bool type::name(char const *format, ...) {                                                       \
    va_list arguments;                                                                             \
    va_start(arguments, format);                                                                   \
    bool const has_passed = forward(first, format, arguments);                                     \
    va_end(arguments);                                                                             \
    return has_passed;                                                                             \
  }
