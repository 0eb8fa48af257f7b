// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"

#include "core/base/logging/LevelFunction.hpp"
#include "core/base/logging/LogLine.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"
#include "core/base/logging/PlainOutput.hpp"
#include "core/base/logging/ProcessLogging.hpp"
#include "core/base/platform/process/Rundown.hpp"

#include <new>
#include <utility>

namespace Ostrel {

int const LoggingCategory::MAX_CATEGORY_SIZE = LogLine::MESSAGE_SIZE;

LoggingCategory &LoggingCategory::get_instance(char const *name) {
  RundownGuard const inside(Rundown::LOGGING);
  LoggingHierarchy *const hierarchy = inside ? ProcessLogging::hierarchy() : nullptr;
  LoggingCategory *const category =
      hierarchy != nullptr ? ProcessLogging::find_category(*hierarchy, name) : nullptr;
  return category != nullptr ? *category : ProcessLogging::discarding_category();
}

LoggingCategory &LoggingCategory::get_root_category() {
  RundownGuard const inside(Rundown::LOGGING);
  LoggingHierarchy *const hierarchy = inside ? ProcessLogging::hierarchy() : nullptr;
  return hierarchy != nullptr ? hierarchy->get_root_category()
                              : ProcessLogging::discarding_category();
}

void LoggingCategory::set_root_priority(LoggingPriority::PriorityLevel priority) {
  get_root_category().set_priority(priority);
}

LoggingCategory::LoggingCategory(std::string_view name, LoggingCategory *parent,
                                 LoggingPriority::PriorityLevel priority,
                                 LoggingHierarchy *hierarchy) noexcept
    : priority_(priority), parent_(parent), name_(name), threshold_(priority),
      hierarchy_(hierarchy) {
  refresh_threshold();
}

LoggingCategory::~LoggingCategory() = default;

void LoggingCategory::set_priority(LoggingPriority::PriorityLevel priority) {
  RundownGuard const inside(Rundown::LOGGING);
  LoggingHierarchy *const hierarchy = usable_hierarchy(inside);
  if (hierarchy != nullptr) {
    hierarchy->set_priority(*this, priority);
  }
}

char const *LoggingCategory::get_granted_priority_name() const {
  return LoggingPriority::get_priority_name(granted_priority());
}

LoggingPriority::PriorityLevel LoggingCategory::find_granted_priority() const {
  for (LoggingCategory const *category = this; category != nullptr; category = category->parent_) {
    LoggingPriority::PriorityLevel const priority = category->get_priority();
    if (priority != LoggingPriority::NOT_SET) {
      return priority;
    }
  }
  RundownGuard const inside(Rundown::LOGGING);
  LoggingHierarchy *const hierarchy = usable_hierarchy(inside);
  if (hierarchy != nullptr) {
    hierarchy->get_root_category().log_write_helper("<ROOT CATEGORY NOT SET>",
                                                    LoggingPriority::NOT_SET, nullptr, 0);
  }
  return LoggingPriority::_default_priority;
}

OSTBASE_LEVEL_FUNCTION(LoggingCategory, fatal, log, LoggingPriority::FATAL)
OSTBASE_LEVEL_FUNCTION(LoggingCategory, error, log, LoggingPriority::ERROR)
OSTBASE_LEVEL_FUNCTION(LoggingCategory, warn, log, LoggingPriority::WARN)
OSTBASE_LEVEL_FUNCTION(LoggingCategory, info, log, LoggingPriority::INFO)
OSTBASE_LEVEL_FUNCTION(LoggingCategory, trace, log, LoggingPriority::TRACE)
OSTBASE_LEVEL_FUNCTION(LoggingCategory, debug, log, LoggingPriority::DEBUG)
OSTBASE_LEVEL_FUNCTION(LoggingCategory, verbose, log, LoggingPriority::VERBOSE)

LoggingHierarchy *LoggingCategory::usable_hierarchy(RundownGuard const &inside) const noexcept {
  return is_process_wide_ && !inside ? nullptr : hierarchy_.load(std::memory_order_relaxed);
}

bool LoggingCategory::log_passed(LoggingPriority::PriorityLevel level, char const *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  bool const has_passed = log(level, format, arguments);
  va_end(arguments);
  return has_passed;
}

bool LoggingCategory::log(LoggingPriority::PriorityLevel level, char const *format,
                          va_list arguments) {
  if (!priority_satisfied(level)) {
    return false;
  }
  log_write(level, nullptr, 0, format, arguments);
  return true;
}

void LoggingCategory::log_write(LoggingPriority::PriorityLevel level, char const *file, int line,
                                char const *format, va_list arguments) {
  LogLine text;
  text.format(format, arguments);
  if (file != nullptr || !write_plain(level, text)) {
    log_write_helper(text.message(), level, file, line);
  }
}

// Returns false, with nothing done, if the output needs an event.
bool LoggingCategory::write_plain(LoggingPriority::PriorityLevel level, LogLine &text) {
  RundownGuard const inside(Rundown::LOGGING);
  ILoggingOutput *const output =
      usable_hierarchy(inside) == nullptr ? nullptr : get_logging_output();
  return output != nullptr && PlainOutput::write(*output, level, text);
}

void LoggingCategory::log_write_helper(char const *message, LoggingPriority::PriorityLevel level,
                                       char const *file, int line) try {
  LoggingEvent const event(std::string(name_), std::string(message), level, file, line);
  RundownGuard const inside(Rundown::LOGGING);
  if (usable_hierarchy(inside) == nullptr) {
    return; // the outputs are gone
  }
  ILoggingOutput *const output = get_logging_output();
  if (output != nullptr) {
    output->write(event);
  }
} catch (std::bad_alloc const &) {
  return; // the message is lost
}

void LoggingCategory::set_logging_output(ILoggingOutput *output) {
  RundownGuard const inside(Rundown::LOGGING);
  bool const is_alive = usable_hierarchy(inside) != nullptr;
  if (is_alive && output != nullptr && output == output_.get()) {
    return;
  }
  std::unique_ptr<ILoggingOutput> handed_over(
      output != nullptr ? output : new (std::nothrow) LoggingOutputImpl);
  if (is_alive && handed_over != nullptr) {
    output_ = std::move(handed_over);
  }
}

ILoggingOutput *LoggingCategory::get_logging_output() const {
  for (LoggingCategory const *category = this; category != nullptr; category = category->parent_) {
    if (category->output_ != nullptr) {
      return category->output_.get();
    }
  }
  return nullptr;
}

void LoggingCategory::remove_logging_output() {
  RundownGuard const inside(Rundown::LOGGING);
  if (usable_hierarchy(inside) != nullptr) {
    output_.reset();
  }
}

// The threshold is the own priority or, if that is not set, the parent's threshold.
void LoggingCategory::refresh_threshold() noexcept {
  LoggingPriority::PriorityLevel const own = get_priority();
  bool const inherits = own == LoggingPriority::NOT_SET && parent_ != nullptr;
  threshold_.store(inherits ? parent_->threshold_.load(std::memory_order_relaxed) : own,
                   std::memory_order_relaxed);
}

void LoggingCategory::update_threshold() noexcept {
  refresh_threshold();
  for (LoggingCategory *descendant = next_descendant(this); descendant != nullptr;
       descendant = next_descendant(descendant)) {
    descendant->refresh_threshold();
  }
}

// Walks the categories below this one, each parent before its children, and skips what is below a
// category with a priority of its own. Iterative, because a name may have any number of dots.
LoggingCategory *LoggingCategory::next_descendant(LoggingCategory *last) const noexcept {
  bool const do_children_inherit = last == this || last->get_priority() == LoggingPriority::NOT_SET;
  if (do_children_inherit && last->first_child_ != nullptr) {
    return last->first_child_;
  }
  while (last != this && last->next_sibling_ == nullptr) {
    last = last->parent_;
  }
  return last != this ? last->next_sibling_ : nullptr;
}

void LoggingCategory::silence() noexcept {
  priority_.store(LoggingPriority::DISABLED, std::memory_order_relaxed);
  threshold_.store(LoggingPriority::DISABLED, std::memory_order_relaxed);
  hierarchy_.store(nullptr);
}

} // namespace Ostrel
