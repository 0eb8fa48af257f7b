// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

namespace Ostrel {

class LoggingCategory;
class LoggingHierarchy;

/// Configures a new hierarchy from the environment: the priorities of the listed categories and
/// their log file. Internal to the library.
class LoggingSetUp {
public:
  /// If out of memory, returns false or throws `std::bad_alloc`; the hierarchy is then incomplete.
  static bool configure(LoggingHierarchy &hierarchy);

private:
  static bool configure_category(LoggingCategory &category,
                                 LoggingPriority::PriorityLevel priority);
};

} // namespace Ostrel
