// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Ostrel {

/// What the default layout puts between the level and the message. Internal to the library.
constexpr std::string_view LEVEL_SEPARATOR = " - ";

/// A message, and the line that the default layout makes of it, in one buffer: the beginning and
/// the end of the line are written around the message where it stands. Internal to the library.
class LogLine {
public:
  static constexpr int MESSAGE_SIZE = 16384; // characters, terminator included

  /// Formats the message; a longer one is cut.
  void format(char const *format, va_list arguments) OSTBASE_PRINTF(2, 0);

  /// The message, until the line is finished.
  char const *message() const { return buffer_ + HEAD_ROOM; }

  /// The line of an event without a source position, as long as this object lives.
  std::string_view finish(LoggingPriority::PriorityLevel level);

private:
  static constexpr std::size_t HEAD_ROOM = 32; // characters, for the longest level's name

  char buffer_[HEAD_ROOM + MESSAGE_SIZE];
};

} // namespace Ostrel
