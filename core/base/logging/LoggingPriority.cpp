// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingPriority.hpp"

namespace Ostrel {

LoggingPriority::PriorityLevel const LoggingPriority::_default_priority = INFO;

char const *LoggingPriority::get_priority_name(PriorityLevel level) noexcept {
  switch (level) {
  case DISABLED:
    return "<LOGGING DISABLED>";
  case FATAL:
    return "FATAL";
  case ERROR:
    return "ERROR";
  case WARN:
    return "WARN ";
  case INFO:
    return "INFO ";
  case TRACE:
    return "TRACE ";
  case DEBUG:
    return "DEBUG";
  case VERBOSE:
    return "VERBOSE";
  case NOT_SET:
    return "NOT SET";
  }
  return "<NO SUCH PRIORITY>";
}

} // namespace Ostrel
