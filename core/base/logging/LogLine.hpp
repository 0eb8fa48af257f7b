// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Ostrel {

/// The text of a level at the start of a line, with a terminator. Internal to the library.
constexpr std::string_view level_name(LoggingPriority::PriorityLevel level) noexcept {
  switch (level) {
  case LoggingPriority::DISABLED:
    return "<LOGGING DISABLED>";
  case LoggingPriority::FATAL:
    return "FATAL";
  case LoggingPriority::ERROR:
    return "ERROR";
  case LoggingPriority::WARN:
    return "WARN ";
  case LoggingPriority::INFO:
    return "INFO ";
  case LoggingPriority::TRACE:
    return "TRACE ";
  case LoggingPriority::DEBUG:
    return "DEBUG";
  case LoggingPriority::VERBOSE:
    return "VERBOSE";
  case LoggingPriority::NOT_SET:
    return "NOT SET";
  }
  return "<NO SUCH PRIORITY>";
}

/// The length of the longest text that `level_name` returns.
constexpr std::size_t LONGEST_LEVEL_NAME = [] {
  std::size_t longest = 0;
  for (int level = -1; level <= LoggingPriority::NOT_SET; ++level) {
    longest =
        std::max(longest, level_name(static_cast<LoggingPriority::PriorityLevel>(level)).size());
  }
  return longest;
}();

/// The start of a line of the default layout: the level's name and a hyphen. Internal to the
/// library.
class LineHead {
public:
  static constexpr std::string_view SEPARATOR = " - ";
  static constexpr std::size_t LONGEST = LONGEST_LEVEL_NAME + SEPARATOR.size(); // characters

  explicit LineHead(LoggingPriority::PriorityLevel level) : name_(level_name(level)) {}

  std::size_t size() const { return name_.size() + SEPARATOR.size(); }

  /// Writes the head so that it ends where the message begins.
  /// @return its start, up to `LONGEST` characters before the message.
  char *write_before(char *message) const {
    char *const separator = message - SEPARATOR.size();
    SEPARATOR.copy(separator, SEPARATOR.size());
    char *const begin = separator - name_.size();
    name_.copy(begin, name_.size());
    return begin;
  }

private:
  std::string_view name_;
};

/// The end of a line of the default layout. Internal to the library.
constexpr char LINE_END = '\n';

/// A message that becomes a line of the default layout without a copy: the buffer has room for the
/// head before the message. Internal to the library.
class LogLine {
public:
  static constexpr int MESSAGE_SIZE = 16384; // characters, terminator included

  /// Formats the message and truncates it to the buffer.
  void format(char const *format, va_list arguments) OSTBASE_PRINTF(2, 0);

  /// The message; valid until `finish`.
  char const *message() const { return buffer_ + LineHead::LONGEST; }

  /// Returns the line of an event without a source position; valid while this object lives.
  std::string_view finish(LoggingPriority::PriorityLevel level);

private:
  char buffer_[LineHead::LONGEST + MESSAGE_SIZE];
};

} // namespace Ostrel
