// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingPriority.hpp"

#include "core/base/logging/LogLine.hpp"

namespace Ostrel {

LoggingPriority::PriorityLevel const LoggingPriority::_default_priority = INFO;

char const *LoggingPriority::get_priority_name(PriorityLevel level) noexcept {
  return level_name(level).data();
}

} // namespace Ostrel
