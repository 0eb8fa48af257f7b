// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingEvent.hpp"

#include <utility>

namespace Ostrel {

LoggingEvent::LoggingEvent(std::string const &name, std::string const &text,
                           LoggingPriority::PriorityLevel level, char const *source_file,
                           int source_line)
    : category_name(name), message(text), priority(level), file(source_file), line(source_line) {}

LoggingEvent::LoggingEvent(std::string &&name, std::string &&text,
                           LoggingPriority::PriorityLevel level, char const *source_file,
                           int source_line) noexcept
    : category_name(std::move(name)), message(std::move(text)), priority(level), file(source_file),
      line(source_line) {}

} // namespace Ostrel
