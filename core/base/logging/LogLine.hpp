// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LevelName.hpp"

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Ostrel {

/// What the default layout puts in front of a message: the level's name and a hyphen. Internal to
/// the library.
class LineHead {
public:
  static constexpr std::string_view SEPARATOR = " - ";
  static constexpr std::size_t LONGEST = LONGEST_LEVEL_NAME + SEPARATOR.size(); // characters

  explicit LineHead(LoggingPriority::PriorityLevel level) : name_(level_name(level)) {}

  std::size_t size() const { return name_.size() + SEPARATOR.size(); }

  /// Writes the head so that it ends where the message begins.
  /// @return its beginning, up to `LONGEST` characters before the message.
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

/// What ends a line of the default layout. Internal to the library.
constexpr char LINE_END = '\n';

/// A message, and the line that the default layout makes of it, in one buffer: the beginning and
/// the end of the line are written around the message where it stands. Internal to the library.
class LogLine {
public:
  static constexpr int MESSAGE_SIZE = 16384; // characters, terminator included

  /// Formats the message; a longer one is cut.
  void format(char const *format, va_list arguments) OSTBASE_PRINTF(2, 0);

  /// The message, until the line is finished.
  char const *message() const { return buffer_ + LineHead::LONGEST; }

  /// The line of an event without a source position, as long as this object lives.
  std::string_view finish(LoggingPriority::PriorityLevel level);

private:
  char buffer_[LineHead::LONGEST + MESSAGE_SIZE];
};

} // namespace Ostrel
