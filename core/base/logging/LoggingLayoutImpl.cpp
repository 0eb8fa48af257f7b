// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingLayoutImpl.hpp"

#include "core/base/logging/LogLine.hpp"
#include "core/base/logging/LoggingEvent.hpp"

#include <string>

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
  LineHead const head(event.priority);
  std::string line;
  line.reserve(head.size() + event.message.size() + 1);
  line.resize(head.size());
  head.write_before(line.data() + line.size());
  line += event.message;
  if (event.file != nullptr) {
    append_position(line, event.file, event.line);
  }
  line += LINE_END;
  return line;
}

} // namespace Ostrel
