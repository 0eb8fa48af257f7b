// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

namespace Ostrel {

class LoggingCategory;
class LoggingHierarchy;

/// Configures a new hierarchy from the environment: the priorities of named categories, and the
/// file that they write to. Internal to the library.
class LoggingSetUp {
public:
  /// @return false without memory, or throws `std::bad_alloc`; the hierarchy is then of no use.
  static bool configure(LoggingHierarchy &hierarchy);

private:
  static bool configure_category(LoggingCategory &category,
                                 LoggingPriority::PriorityLevel priority);
};

} // namespace Ostrel
