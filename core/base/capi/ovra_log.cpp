// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"

#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/ProcessLogging.hpp"

#include <cstdarg>

using namespace Ostrel;

namespace {

constexpr unsigned int MESSAGE_SIZE = 4000; // of the buffer that messages are formatted into

using Level = bool (LoggingCategory::*)(char const *, ...);
using PostfixedLevel = bool (LoggingCategoryPostfixed::*)(char const *, ...);

// Null if the message would be dropped, so that it is not formatted.
LoggingCategory *receiver(LoggingPriority::PriorityLevel priority, char const *category,
                          char const *format) {
  if (category == nullptr || format == nullptr) {
    return nullptr;
  }
  LoggingCategory &named = LoggingCategory::get_instance(category);
  return ProcessLogging::may_pass(named, priority) ? &named : nullptr;
}

bool log_message(LoggingCategory *category, Level level, char const *format, va_list arguments)
    OSTBASE_PRINTF(3, 0);
void log_with_place(LoggingCategory *category, PostfixedLevel level, char const *format,
                    char const *file, int line, va_list arguments) OSTBASE_PRINTF(3, 0);

bool log_message(LoggingCategory *category, Level level, char const *format, va_list arguments) {
  if (category == nullptr) {
    return false;
  }
  char message[MESSAGE_SIZE];
  ovra_vsnprintf(message, MESSAGE_SIZE, format, arguments);
  return (category->*level)("%s", message);
}

void log_with_place(LoggingCategory *category, PostfixedLevel level, char const *format,
                    char const *file, int line, va_list arguments) {
  if (category == nullptr) {
    return;
  }
  char message[MESSAGE_SIZE];
  ovra_vsnprintf(message, MESSAGE_SIZE, format, arguments);
  LoggingCategoryPostfixed placed(category, "%s:%d", file == nullptr ? "" : file, line);
  (placed.*level)("%s", message);
}

} // namespace

ovra_log_category *ovra_log__get_instance(char const *name) noexcept {
  return name == nullptr
             ? nullptr
             : reinterpret_cast<ovra_log_category *>(&LoggingCategory::get_instance(name));
}

void ovra_log__set_priority(ovra_log_category *category, int priority) noexcept {
  if (category != nullptr) {
    reinterpret_cast<LoggingCategory *>(category)->set_priority(
        static_cast<LoggingPriority::PriorityLevel>(priority));
  }
}

// Macros, because each variadic function must make its own va_list.

#define OSTBASE_PLACED_FUNCTION(name, priority, level)                                             \
  void name(char const *category, char const *format, char const *file, int line, ...) noexcept {  \
    va_list arguments;                                                                             \
    va_start(arguments, line);                                                                     \
    log_with_place(receiver(LoggingPriority::priority, category, format),                          \
                   &LoggingCategoryPostfixed::level, format, file, line, arguments);               \
    va_end(arguments);                                                                             \
  }

#define OSTBASE_PLAIN_FUNCTION(name, priority, level)                                              \
  bool name(char const *category, char const *format, ...) noexcept {                              \
    va_list arguments;                                                                             \
    va_start(arguments, format);                                                                   \
    bool const has_passed = log_message(receiver(LoggingPriority::priority, category, format),     \
                                        &LoggingCategory::level, format, arguments);               \
    va_end(arguments);                                                                             \
    return has_passed;                                                                             \
  }

OSTBASE_PLACED_FUNCTION(ovra_log__debug, LEVEL_DEBUG, debug)
OSTBASE_PLACED_FUNCTION(ovra_log__warn, LEVEL_WARN, warn)
OSTBASE_PLAIN_FUNCTION(ovra_log__info, LEVEL_INFO, info)
OSTBASE_PLAIN_FUNCTION(ovra_log__io_prof, LEVEL_INFO, info)
OSTBASE_PLAIN_FUNCTION(ovra_log__warn_no_debug, LEVEL_WARN, warn)
