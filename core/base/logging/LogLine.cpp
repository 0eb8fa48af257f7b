// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LogLine.hpp"

#include "core/base/foundation/Formatting.h"

#include <cstring>

namespace Ostrel {

void LogLine::format(char const *format, va_list arguments) {
  ovra_vsnprintf(buffer_ + HEAD_ROOM, MESSAGE_SIZE, format, arguments);
}

std::string_view LogLine::finish(LoggingPriority::PriorityLevel level) {
  std::string_view const name = LoggingPriority::get_priority_name(level);
  char *const end = buffer_ + HEAD_ROOM + std::strlen(message());
  *end = '\n'; // in the place of the terminator
  char *const begin = buffer_ + HEAD_ROOM - LEVEL_SEPARATOR.size() - name.size();
  LEVEL_SEPARATOR.copy(begin + name.copy(begin, name.size()), LEVEL_SEPARATOR.size());
  return {begin, static_cast<std::size_t>(end + 1 - begin)};
}

} // namespace Ostrel
