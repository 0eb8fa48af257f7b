// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <cstdarg>
#include <memory>

namespace Ostrel {

class LoggingCategory;

/// Logs through a category and appends a fixed text to each message: "message [text]". If
/// `OVRA_LOG_TIMESTAMP` was "YES" or "TRUE" when the library was loaded, also prepends the local
/// time of day: "07:05:09  message [text]".
///
/// Any thread may use it. Messages and text are truncated to 4095 characters each.
class OSTBASE_API LoggingCategoryPostfixed {
public:
  /// Uses the last component of the category's name as the text.
  /// @param category  borrowed; null drops every message.
  explicit LoggingCategoryPostfixed(LoggingCategory *category);

  /// @param category  borrowed; null drops every message.
  /// @param format    printf-style format of the text, which is empty if the format is null or if
  ///                  out of memory.
  LoggingCategoryPostfixed(LoggingCategory *category, char const *format, ...) OSTBASE_PRINTF(3, 4);
  LoggingCategoryPostfixed(LoggingCategoryPostfixed const &) = delete;
  LoggingCategoryPostfixed &operator=(LoggingCategoryPostfixed const &) = delete;
  ~LoggingCategoryPostfixed();

  // The level functions take a printf-style format (null is the empty one) and return the result of
  // the category's function of that name.

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
  std::unique_ptr<char[]> text_; // null if empty
};

} // namespace Ostrel
