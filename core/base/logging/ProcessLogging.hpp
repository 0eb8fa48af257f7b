// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <memory>

namespace Ostrel {

class LoggingCategory;
class LoggingHierarchy;

/// The logging hierarchy of the process: set up by the first logging call, torn down when the
/// library is unloaded. Later calls get a category that discards messages. Internal to the library.
class ProcessLogging {
public:
  /// Returns the hierarchy; the first call sets it up from the environment. Null if out of memory
  /// (the next call retries), and for a call from inside the set-up (an allocator that logs). The
  /// caller holds an admitted RundownGuard of `Rundown::LOGGING`.
  static LoggingHierarchy *hierarchy();

  /// Returns the category of that name, ignoring case; null if out of memory.
  static LoggingCategory *find_category(LoggingHierarchy &hierarchy, char const *name);

  /// Returns the category that drops every message; never destroyed.
  static LoggingCategory &discarding_category();

  /// Whether a message of that level may pass, to be checked before formatting. Does not log if the
  /// root has no priority.
  static bool may_pass(LoggingCategory const &category,
                       LoggingPriority::PriorityLevel level) noexcept;

  /// Makes every category drop its messages and deletes the outputs, which closes their files.
  /// Keeps the outputs if a thread is still logging after 1 s, or if the caller itself is logging
  /// (its layout or output ends the process).
  static void tear_down();

private:
  struct Discarding;

  static void set_up();
  static std::unique_ptr<LoggingHierarchy> make_configured();
};

} // namespace Ostrel
