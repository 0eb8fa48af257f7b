// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingLayoutImpl.hpp"

#include "core/base/logging/LogLine.hpp"
#include "core/base/logging/LoggingEvent.hpp"

#include <cstring>

namespace Ostrel {

namespace {

void append_position(std::string &line, char const *file, int number) {
  line += " [";
  line += file;
  line += ':';
  line += std::to_string(number);
  line += ']';
}

} // namespace

std::string LoggingLayoutImpl::format(LoggingEvent const &event) {
  char const *const level = LoggingPriority::get_priority_name(event.priority);
  std::string line;
  line.reserve(std::strlen(level) + LEVEL_SEPARATOR.size() + 1 + event.message.size());
  line += level;
  line += LEVEL_SEPARATOR;
  line += event.message;
  if (event.file != nullptr) {
    append_position(line, event.file, event.line);
  }
  line += '\n';
  return line;
}

} // namespace Ostrel
