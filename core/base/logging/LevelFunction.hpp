// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the seven level functions of a class have in common, and only a macro can say: how variable
/// arguments become a list. Internal to the library.

#include <cstdarg>

/// Defines the level function `type::name` by the call `forward(first, format, arguments)`.
#define OSTBASE_LEVEL_FUNCTION(type, name, forward, first)                                         \
  bool type::name(char const *format, ...) {                                                       \
    va_list arguments;                                                                             \
    va_start(arguments, format);                                                                   \
    bool const has_passed = forward(first, format, arguments);                                     \
    va_end(arguments);                                                                             \
    return has_passed;                                                                             \
  }
