// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/logging/LoggingPriority.hpp"

#include <atomic>
#include <cstdarg>
#include <memory>
#include <string>
#include <string_view>

namespace Ostrel {

class ILoggingOutput;
class LogLine;
class LoggingHierarchy;
class RundownGuard;

/// A named source of log messages. Categories form a tree by the dots in their names; one that has
/// no threshold or no output of its own uses those of its nearest ancestor that has.
///
/// Get one once, keep the pointer, and call the level functions through it:
/// `LoggingCategory::get_instance("Ostrel.Core.Base.Units").warn("No unit '%s'", name);`
/// The process's logging is set up from the environment by the first call that needs it. What is
/// handed out stays valid while the library is loaded; when it has been torn down at the end of the
/// process, calls are dropped. Where a category cannot be had, one is given that drops everything.
///
/// Any thread may use a category at any time, but an output is changed only while no thread logs
/// through it. A signal handler must not log, nor fork: the code that it interrupts may hold the
/// locks that either needs.
class OSTBASE_API LoggingCategory {
public:
  /// The size in characters of the buffer that a message is formatted into: longer messages are
  /// cut to one less.
  static int const MAX_CATEGORY_SIZE;

  /// "There is no further entry", from `parse_logging_spec`.
  static constexpr unsigned int npos = 0xFFFFFFFFU;

  LoggingCategory(LoggingCategory const &) = delete;
  LoggingCategory &operator=(LoggingCategory const &) = delete;

  /// Gives the category of that name in any mix of upper and lower case, and makes it when there is
  /// none. The empty name, and null, is the root.
  static LoggingCategory &get_instance(char const *name);
  static LoggingCategory &get_root_category();
  /// Sets the root's threshold, which all inherit that have none on their way up to it.
  static void set_root_priority(LoggingPriority::PriorityLevel priority);

  /// Reads the entry of a logging set-up ("category,PRIORITY;category;...") that starts at
  /// `position`.
  ///
  /// @param category  receives the entry's first part, empty where it has none; may be null.
  /// @param priority  likewise its second part.
  /// @return the position of the next entry, or `npos` when there is none.
  static unsigned int parse_logging_spec(std::string text, unsigned int position,
                                         std::string *category, std::string *priority);

  /// Gives the full name as it was registered; empty for the root.
  char const *get_category_name() const noexcept { return name_.data(); }

  /// The category's own threshold; `NOT_SET` inherits.
  LoggingPriority::PriorityLevel get_priority() const noexcept {
    return priority_.load(std::memory_order_relaxed);
  }
  /// Sets the category's own threshold, for itself and all that inherit from it. Calls on other
  /// threads that overlap with the change may still use the old one. Any value is taken; one that
  /// is no level lets through what is not above it. Without effect once logging has been torn down.
  void set_priority(LoggingPriority::PriorityLevel priority);

  /// The threshold that is in force: the own one or the nearest ancestor's. When the root has none
  /// either, that is written through the root at each query, and the default is given.
  LoggingPriority::PriorityLevel granted_priority() const;
  char const *get_granted_priority_name() const;

  /// Whether messages of that level pass.
  inline bool priority_satisfied(LoggingPriority::PriorityLevel level) const;
  bool fatal_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_FATAL); }
  bool error_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_ERROR); }
  bool warn_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_WARN); }
  bool info_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_INFO); }
  bool trace_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_TRACE); }
  bool debug_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_DEBUG); }
  bool verbose_enabled() const { return priority_satisfied(LoggingPriority::LEVEL_VERBOSE); }

  /// Whether the own threshold, whatever the ancestors say, is not `DISABLED`.
  bool logging_enabled() const noexcept { return !logging_disabled(); }
  bool logging_disabled() const noexcept {
    return get_priority() == LoggingPriority::LEVEL_DISABLED;
  }

  // The level functions take a printf-style format, of which null is the empty one. They return
  // true when the message passed the threshold, also when no output was there to take it.

  bool fatal(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool error(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool warn(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool info(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool trace(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool debug(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool verbose(char const *format, ...) OSTBASE_PRINTF(2, 3);

  /// Gives the category an output of its own and deletes the one that it had.
  ///
  /// @param output  handed over; the one that is owned already stays. Null makes a new output to
  ///                standard error; when that cannot be had, the old one stays.
  void set_logging_output(ILoggingOutput *output);

  /// Gives the output that the category writes through, its own or the nearest ancestor's, which
  /// stays theirs; null when there is none.
  ILoggingOutput *get_logging_output() const;

  /// Deletes the category's own output, so that it writes through its ancestors'.
  void remove_logging_output();

protected:
  /// Formats and writes, whatever the threshold.
  /// @param file  the source file, borrowed; null when there is none to show.
  void log_write(LoggingPriority::PriorityLevel level, char const *file, int line,
                 char const *format, va_list arguments) OSTBASE_PRINTF(5, 0);

private:
  friend class LoggingHierarchy;
  friend class ProcessLogging;

  LoggingCategory(std::string_view name, LoggingCategory *parent,
                  LoggingPriority::PriorityLevel priority, LoggingHierarchy *hierarchy) noexcept;
  ~LoggingCategory();

  // The hierarchy, as long as the guard lives; null when it is gone, or the category was cleared.
  LoggingHierarchy *usable_hierarchy(RundownGuard const &inside) const noexcept;
  void log_write_helper(char const *message, LoggingPriority::PriorityLevel level, char const *file,
                        int line);
  bool write_plain(LoggingPriority::PriorityLevel level, LogLine &text);
  bool log(LoggingPriority::PriorityLevel level, char const *format, va_list arguments)
      OSTBASE_PRINTF(3, 0);
  // Without the format attribute: the text has been checked where the level function was called,
  // and is no literal any more where the call is handed on.
  bool log_passed(LoggingPriority::PriorityLevel level, char const *format, ...);

  // Whether a level may pass, at the price of one load. Relaxed: a threshold orders nothing, a call
  // that overlaps with its change may see either value.
  bool may_pass(LoggingPriority::PriorityLevel level) const noexcept {
    return threshold_.load(std::memory_order_relaxed) >= level;
  }
  LoggingPriority::PriorityLevel find_granted_priority() const;

  // The hierarchy calls these with its mutex held.
  void take_threshold() noexcept;
  void update_threshold() noexcept;
  LoggingCategory *next_heir(LoggingCategory *last) const noexcept;
  void silence() noexcept; // for good

  std::atomic<LoggingPriority::PriorityLevel> priority_; // written by the hierarchy
  LoggingCategory *parent_;                              // null only for the root
  std::unique_ptr<ILoggingOutput> output_;               // null writes through the parent's
  std::string_view name_; // terminated; kept by the hierarchy beside the category

  // The priority of the nearest of this category and its ancestors that has one, or NOT_SET: kept
  // up to date by the hierarchy, so that a dropped call need not walk.
  std::atomic<LoggingPriority::PriorityLevel> threshold_;
  std::atomic<LoggingHierarchy *> hierarchy_; // null once cleared, and without a hierarchy
  bool is_process_wide_ = false;              // whether that is the process's
  LoggingCategory *first_child_ = nullptr;    // guarded by the hierarchy's mutex
  LoggingCategory *next_sibling_ = nullptr;   // guarded by the hierarchy's mutex
};

inline LoggingPriority::PriorityLevel LoggingCategory::granted_priority() const {
  LoggingPriority::PriorityLevel const threshold = threshold_.load(std::memory_order_relaxed);
  return threshold != LoggingPriority::LEVEL_NOT_SET ? threshold : find_granted_priority();
}

inline bool LoggingCategory::priority_satisfied(LoggingPriority::PriorityLevel level) const {
  return granted_priority() >= level;
}

// A variadic function is never inlined, and its call would be most of what a dropped message costs.
// GCC can put the test in front of the call and hand the arguments on unread; these definitions are
// used for that alone, the functions' addresses are those in the library. Other compilers call the
// library, which begins with the same test.
#if defined(__GNUC__) && !defined(__clang__)
#define OSTBASE_TEST_IN_FRONT(name, level)                                                         \
  __attribute__((gnu_inline, always_inline, artificial)) inline bool LoggingCategory::name(        \
      char const *format, ...) {                                                                   \
    return may_pass(LoggingPriority::level) &&                                                     \
           log_passed(LoggingPriority::level, format, __builtin_va_arg_pack());                    \
  }
OSTBASE_TEST_IN_FRONT(fatal, LEVEL_FATAL)
OSTBASE_TEST_IN_FRONT(error, LEVEL_ERROR)
OSTBASE_TEST_IN_FRONT(warn, LEVEL_WARN)
OSTBASE_TEST_IN_FRONT(info, LEVEL_INFO)
OSTBASE_TEST_IN_FRONT(trace, LEVEL_TRACE)
OSTBASE_TEST_IN_FRONT(debug, LEVEL_DEBUG)
OSTBASE_TEST_IN_FRONT(verbose, LEVEL_VERBOSE)
#undef OSTBASE_TEST_IN_FRONT
#endif

} // namespace Ostrel
