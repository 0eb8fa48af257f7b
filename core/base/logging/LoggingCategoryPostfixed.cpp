// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategoryPostfixed.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/logging/LevelFunction.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingSpec.hpp"
#include "core/base/logging/WrapperText.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/Platform.hpp"

#include <atomic>
#include <cstring>
#include <new>
#include <string>

namespace Ostrel {

namespace {

bool read_timestamps_enabled() {
  std::string value;
  return read_environment("OVRA_LOG_TIMESTAMP", &value) &&
         (LoggingSpec::is_same_word(value, "YES") || LoggingSpec::is_same_word(value, "TRUE"));
}

enum class Flag { UNKNOWN, NO, YES };

// Read when the library is loaded: earlier if a static constructor logs before this file is
// initialised, later if out of memory. Relaxed: the flag orders no other data.
std::atomic<Flag> timestamps_flag{Flag::UNKNOWN};

bool timestamps_enabled() try {
  Flag flag = timestamps_flag.load(std::memory_order_relaxed);
  if (flag == Flag::UNKNOWN) {
    flag = read_timestamps_enabled() ? Flag::YES : Flag::NO;
    timestamps_flag.store(flag, std::memory_order_relaxed);
  }
  return flag == Flag::YES;
} catch (std::bad_alloc const &) {
  return false;
}

[[maybe_unused]] bool const read_at_load = timestamps_enabled();

char const *last_component(char const *name) {
  char const *const dot = std::strrchr(name, '.');
  return dot == nullptr ? name : dot + 1;
}

std::unique_ptr<char[]> make_text(char const *format, ...) OSTBASE_PRINTF(1, 2);

std::unique_ptr<char[]> make_text(char const *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::unique_ptr<char[]> text = make_wrapper_text(format, arguments);
  va_end(arguments);
  return text;
}

} // namespace

LoggingCategoryPostfixed::LoggingCategoryPostfixed(LoggingCategory *category)
    : category_(category),
      text_(make_text("%s",
                      category == nullptr ? "" : last_component(category->get_category_name()))) {}

LoggingCategoryPostfixed::LoggingCategoryPostfixed(LoggingCategory *category, char const *format,
                                                   ...)
    : category_(category) {
  va_list arguments;
  va_start(arguments, format);
  text_ = make_wrapper_text(format, arguments);
  va_end(arguments);
}

LoggingCategoryPostfixed::~LoggingCategoryPostfixed() = default;

OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, fatal, forward, &LoggingCategory::fatal)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, error, forward, &LoggingCategory::error)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, warn, forward, &LoggingCategory::warn)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, info, forward, &LoggingCategory::info)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, trace, forward, &LoggingCategory::trace)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, debug, forward, &LoggingCategory::debug)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPostfixed, verbose, forward, &LoggingCategory::verbose)

bool LoggingCategoryPostfixed::forward(Level level, char const *format, va_list arguments) {
  if (category_ == nullptr) {
    return false;
  }
  char message[WRAPPER_BUFFER_SIZE];
  ovra_vsnprintf(message, sizeof message, format, arguments);
  char const *const text = text_ == nullptr ? "" : text_.get();
  if (!timestamps_enabled()) {
    return (category_->*level)("%s [%s]", message, text);
  }
  int hour = 0, minute = 0, second = 0;
  Platform::get_local_time(&hour, &minute, &second);
  return (category_->*level)("%02d:%02d:%02d  %s [%s]", hour, minute, second, message, text);
}

} // namespace Ostrel
