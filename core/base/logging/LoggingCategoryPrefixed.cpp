// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategoryPrefixed.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/logging/LevelFunction.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/WrapperText.hpp"

namespace Ostrel {

LoggingCategoryPrefixed::LoggingCategoryPrefixed(LoggingCategory *category, char const *format, ...)
    : category_(category) {
  va_list arguments;
  va_start(arguments, format);
  text_ = make_wrapper_text(format, arguments);
  va_end(arguments);
}

LoggingCategoryPrefixed::~LoggingCategoryPrefixed() = default;

OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, fatal, forward, &LoggingCategory::fatal)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, error, forward, &LoggingCategory::error)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, warn, forward, &LoggingCategory::warn)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, info, forward, &LoggingCategory::info)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, trace, forward, &LoggingCategory::trace)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, debug, forward, &LoggingCategory::debug)
OSTBASE_LEVEL_FUNCTION(LoggingCategoryPrefixed, verbose, forward, &LoggingCategory::verbose)

bool LoggingCategoryPrefixed::forward(Level level, char const *format, va_list arguments) {
  if (category_ == nullptr) {
    return false;
  }
  char message[WRAPPER_BUFFER_SIZE];
  ovra_vsnprintf(message, sizeof message, format, arguments);
  return (category_->*level)("%s: %s", text_ == nullptr ? "" : text_.get(), message);
}

} // namespace Ostrel
