// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <cstdarg>
#include <memory>

namespace Ostrel {

class LoggingCategory;

/// Logs through a category with a fixed text behind each message: "message [text]". When
/// `OVRA_LOG_TIMESTAMP` was "YES" or "TRUE" as the library was loaded, the local time of day stands
/// in front: "07:05:09  message [text]".
///
/// May be used from any thread. Messages and text are cut to 4095 characters each.
class OSTBASE_API LoggingCategoryPostfixed {
public:
  /// Takes as text the last component of the category's name.
  /// @param category  borrowed; null drops every message.
  explicit LoggingCategoryPostfixed(LoggingCategory *category);

  /// @param category  borrowed; null drops every message.
  /// @param format    printf-style, of the text; empty for null and without memory.
  LoggingCategoryPostfixed(LoggingCategory *category, char const *format, ...) OSTBASE_PRINTF(3, 4);
  LoggingCategoryPostfixed(LoggingCategoryPostfixed const &) = delete;
  LoggingCategoryPostfixed &operator=(LoggingCategoryPostfixed const &) = delete;
  ~LoggingCategoryPostfixed();

  // The level functions take a printf-style format, of which null is the empty one, and return what
  // the category's function of that name returns.

  bool fatal(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool error(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool warn(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool info(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool trace(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool debug(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool verbose(char const *format, ...) OSTBASE_PRINTF(2, 3);

private:
  using Level = bool (LoggingCategory::*)(char const *, ...);
  bool forward(Level level, char const *format, va_list arguments) OSTBASE_PRINTF(3, 0);

  LoggingCategory *category_;    // may be null
  std::unique_ptr<char[]> text_; // null is the empty text
};

} // namespace Ostrel
