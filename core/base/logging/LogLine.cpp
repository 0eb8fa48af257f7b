// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LogLine.hpp"

#include "core/base/foundation/Formatting.h"

#include <cstring>

namespace Ostrel {

void LogLine::format(char const *format, va_list arguments) {
  ovra_vsnprintf(buffer_ + LineHead::LONGEST, MESSAGE_SIZE, format, arguments);
}

std::string_view LogLine::finish(LoggingPriority::PriorityLevel level) {
  char *const message = buffer_ + LineHead::LONGEST;
  char *const end = message + std::strlen(message);
  *end = LINE_END; // replaces the terminator
  char const *const begin = LineHead(level).write_before(message);
  return {begin, static_cast<std::size_t>(end + 1 - begin)};
}

} // namespace Ostrel
