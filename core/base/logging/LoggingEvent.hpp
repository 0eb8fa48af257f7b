// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/logging/LoggingPriority.hpp"
#include "core/base/logging/LoggingTimeStamp.hpp"

#include <string>

namespace Ostrel {

/// A log message with its origin, as a category passes it to an output.
///
/// A value: a copy keeps the number of its time stamp.
class OSTBASE_API LoggingEvent {
public:
  /// Copies the texts and takes the next time stamp.
  ///
  /// @param source_file  borrowed, while the event or a copy of it exists; may be null.
  /// @param source_line  ignored without a file.
  LoggingEvent(std::string const &name, std::string const &text,
               LoggingPriority::PriorityLevel level, char const *source_file, int source_line);

  /// The same, but moves the texts (addition).
  LoggingEvent(std::string &&name, std::string &&text, LoggingPriority::PriorityLevel level,
               char const *source_file, int source_line) noexcept;

  std::string category_name;
  std::string message;
  LoggingPriority::PriorityLevel priority;
  char const *file; // null when unknown
  int line;
  LoggingTimeStamp time_stamp;
};

} // namespace Ostrel
