// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

namespace Ostrel {

class FileLoggingOutput;
class ILoggingOutput;
class LogLine;
class LoggingOutputImpl;

/// The short way of most lines. An output that is exactly of one of the library's two classes, with
/// the default layout, writes for an event what is known without making the event: a third of the
/// cost of a line. Internal to the library.
class PlainOutput {
public:
  /// To be called by the constructors of the two classes.
  static void learn_console_class(LoggingOutputImpl const &output);
  static void learn_file_class(FileLoggingOutput const &output);

  /// Writes what the output would write for an event with that message, and takes the time stamp
  /// that the event would.
  /// @return false, with nothing done, when the output wants the event.
  static bool write(ILoggingOutput &output, LoggingPriority::PriorityLevel level, LogLine &message);
};

} // namespace Ostrel
