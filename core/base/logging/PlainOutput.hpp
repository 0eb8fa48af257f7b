// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

namespace Ostrel {

class FileLoggingOutput;
class ILoggingOutput;
class LogLine;
class LoggingOutputImpl;

/// Writes a line directly, without creating an event, if the output is exactly of one of the
/// library's two classes and has the default layout: this saves a third of the cost of a line.
/// Internal to the library.
class PlainOutput {
public:
  /// To be called by the constructors of the two classes.
  static void learn_console_class(LoggingOutputImpl const &output);
  static void learn_file_class(FileLoggingOutput const &output);

  /// Writes the line that the output would write for an event with that message, and uses up the
  /// number of that event's time stamp.
  /// @return false, with nothing done, if the output needs an event.
  static bool write(ILoggingOutput &output, LoggingPriority::PriorityLevel level, LogLine &message);
};

} // namespace Ostrel
