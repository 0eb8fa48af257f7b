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
  /// @param file  the source file, or null; borrowed for as long as the event or a copy exists.
  /// @param line  the source line; means nothing without a file.
  LoggingEvent(std::string const &category_name, std::string const &message,
               LoggingPriority::PriorityLevel priority, char const *file, int line);

  /// The same with texts that nobody else needs: they are moved (addition).
  LoggingEvent(std::string &&category_name, std::string &&message,
               LoggingPriority::PriorityLevel priority, char const *file, int line) noexcept;

  std::string category_name;
  std::string message;
  LoggingPriority::PriorityLevel priority;
  char const *file; // null when unknown
  int line;
  LoggingTimeStamp time_stamp;
};

} // namespace Ostrel
