// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/logging/LoggingPriority.hpp"
#include "core/base/logging/LoggingTimeStamp.hpp"

#include <string>

namespace Ostrel {

/// One log call on its way from a category to an output.
///
/// A value: a copy keeps the number of its time stamp.
class OSTBASE_API LoggingEvent {
public:
  /// Copies the texts and takes the next time stamp.
  ///
  /// @param source_file  or null; borrowed for as long as the event or a copy exists.
  /// @param source_line  means nothing without a file.
  LoggingEvent(std::string const &name, std::string const &text,
               LoggingPriority::PriorityLevel level, char const *source_file, int source_line);

  /// The same with texts that nobody else needs: they are moved (addition).
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
