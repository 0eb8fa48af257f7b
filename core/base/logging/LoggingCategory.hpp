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

/// A named source of log messages. The dots in the names make a tree: a category without a
/// threshold or an output of its own uses that of its nearest ancestor that has one.
///
/// Get a category once, keep the pointer, and call the level functions through it:
/// `LoggingCategory::get_instance("Ostrel.Core.Base.Units").warn("No unit '%s'", name);`
/// The first call that needs it sets up the process's logging from the environment. Categories stay
/// valid while the library is loaded; after the teardown at the end of the process, calls are
/// dropped. If a category cannot be created, the result is one that drops every message.
///
/// Any thread may use a category at any time, but an output may be changed only while no thread
/// logs through it. A signal handler must neither log nor fork: the code that it interrupts may
/// hold the locks that both need.
class OSTBASE_API LoggingCategory {
public:
  /// The size in characters of the buffer for a formatted message, terminator included. Longer
  /// messages are truncated.
  static int const MAX_CATEGORY_SIZE;

  /// "There is no further entry", from `parse_logging_spec`.
  static constexpr unsigned int npos = 0xFFFFFFFFU;

  LoggingCategory(LoggingCategory const &) = delete;
  LoggingCategory &operator=(LoggingCategory const &) = delete;

  /// Returns the category of that name, ignoring case, and creates it if there is none. The empty
  /// name and null are the root.
  static LoggingCategory &get_instance(char const *name);
  static LoggingCategory &get_root_category();
  /// Sets the root's threshold, which a category inherits unless it or an ancestor has its own.
  static void set_root_priority(LoggingPriority::PriorityLevel priority);

  /// Parses the entry at `position` of a logging specification ("category,PRIORITY;category;...").
  ///
  /// @param category  receives the category of the entry, or an empty text; may be null.
  /// @param priority  receives the priority, likewise.
  /// @return the position of the next entry, or `npos` if there is none.
  static unsigned int parse_logging_spec(std::string text, unsigned int position,
                                         std::string *category, std::string *priority);

  /// Returns the full name as it was registered; empty for the root.
  char const *get_category_name() const noexcept { return name_.data(); }

  /// Returns the category's own threshold; `NOT_SET` means that it inherits one.
  LoggingPriority::PriorityLevel get_priority() const noexcept {
    return priority_.load(std::memory_order_relaxed);
  }
  /// Sets the category's own threshold, for itself and all that inherit from it. Calls on other
  /// threads that overlap with the change may still use the old one. Any value is accepted:
  /// messages of a level not above it pass. Has no effect after the teardown of logging.
  void set_priority(LoggingPriority::PriorityLevel priority);

  /// Returns the threshold in force: its own or the nearest ancestor's. If the root has none
  /// either, each query logs that through the root and returns the default.
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

  /// Whether the category's own threshold is not `DISABLED`; ancestors do not count.
  bool logging_enabled() const noexcept { return !logging_disabled(); }
  bool logging_disabled() const noexcept {
    return get_priority() == LoggingPriority::LEVEL_DISABLED;
  }

  // The level functions take a printf-style format; null is the empty one. They return true if the
  // message passed the threshold, even if there is no output.

  bool fatal(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool error(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool warn(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool info(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool trace(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool debug(char const *format, ...) OSTBASE_PRINTF(2, 3);
  bool verbose(char const *format, ...) OSTBASE_PRINTF(2, 3);

  /// Replaces the category's own output and deletes the previous one.
  ///
  /// @param output  handed over; if the category owns it already, nothing changes. Null creates an
  ///                output to standard error; if that fails, the old output stays.
  void set_logging_output(ILoggingOutput *output);

  /// Returns the output that the category uses, its own or the nearest ancestor's, still owned by
  /// that category; null if there is none.
  ILoggingOutput *get_logging_output() const;

  /// Deletes the category's own output; the category then uses the nearest ancestor's.
  void remove_logging_output();

protected:
  /// Formats and writes a message, ignoring the threshold.
  /// @param file  the source file, borrowed; null shows no source position.
  void log_write(LoggingPriority::PriorityLevel level, char const *file, int line,
                 char const *format, va_list arguments) OSTBASE_PRINTF(5, 0);

private:
  friend class LoggingHierarchy;
  friend class ProcessLogging;

  LoggingCategory(std::string_view name, LoggingCategory *parent,
                  LoggingPriority::PriorityLevel priority, LoggingHierarchy *hierarchy) noexcept;
  ~LoggingCategory();

  // Valid while the guard lives; null after the teardown and if the category was cleared.
  LoggingHierarchy *usable_hierarchy(RundownGuard const &inside) const noexcept;
  void log_write_helper(char const *message, LoggingPriority::PriorityLevel level, char const *file,
                        int line);
  bool write_plain(LoggingPriority::PriorityLevel level, LogLine &text);
  bool log(LoggingPriority::PriorityLevel level, char const *format, va_list arguments)
      OSTBASE_PRINTF(3, 0);
  // No format attribute: the compiler checks the format at the call of the level function, and here
  // it is no longer a literal.
  bool log_passed(LoggingPriority::PriorityLevel level, char const *format, ...);

  // Costs one load. Relaxed: a threshold orders no other data, and a call that overlaps with a
  // change may see either value.
  bool may_pass(LoggingPriority::PriorityLevel level) const noexcept {
    return threshold_.load(std::memory_order_relaxed) >= level;
  }
  LoggingPriority::PriorityLevel find_granted_priority() const;

  // The hierarchy calls these with its mutex held.
  void refresh_threshold() noexcept;
  void update_threshold() noexcept;
  LoggingCategory *next_descendant(LoggingCategory *last) const noexcept;
  void silence() noexcept; // permanently

  std::atomic<LoggingPriority::PriorityLevel> priority_; // written by the hierarchy
  LoggingCategory *parent_;                              // null only for the root
  std::unique_ptr<ILoggingOutput> output_;               // null uses the parent's
  std::string_view name_; // terminated; in the same allocation as the category

  // The own or nearest ancestor's priority, or NOT_SET. Kept up to date by the hierarchy, so that a
  // dropped call does not walk the tree.
  std::atomic<LoggingPriority::PriorityLevel> threshold_;
  std::atomic<LoggingHierarchy *> hierarchy_; // null if cleared or without a hierarchy
  bool is_process_wide_ = false;              // whether it is the process's hierarchy
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

// A variadic function is never inlined, and its call would be most of the cost of a dropped
// message. GCC can inline the test and forward the arguments to the call after it. These
// definitions are used for inlining only: the addresses of the functions are those in the library.
// Other compilers call the library, which starts with the same test.
#if defined(__GNUC__) && !defined(__clang__)
#define OSTBASE_INLINE_TEST(name, level)                                                           \
  __attribute__((gnu_inline, always_inline, artificial)) inline bool LoggingCategory::name(        \
      char const *format, ...) {                                                                   \
    return may_pass(LoggingPriority::level) &&                                                     \
           log_passed(LoggingPriority::level, format, __builtin_va_arg_pack());                    \
  }
OSTBASE_INLINE_TEST(fatal, LEVEL_FATAL)
OSTBASE_INLINE_TEST(error, LEVEL_ERROR)
OSTBASE_INLINE_TEST(warn, LEVEL_WARN)
OSTBASE_INLINE_TEST(info, LEVEL_INFO)
OSTBASE_INLINE_TEST(trace, LEVEL_TRACE)
OSTBASE_INLINE_TEST(debug, LEVEL_DEBUG)
OSTBASE_INLINE_TEST(verbose, LEVEL_VERBOSE)
#undef OSTBASE_INLINE_TEST
#endif

} // namespace Ostrel
