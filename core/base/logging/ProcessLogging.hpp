// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <memory>

namespace Ostrel {

class LoggingCategory;
class LoggingHierarchy;

/// The one hierarchy of the process: its set-up by the first logging call, its teardown when the
/// library is unloaded, and what late callers get then. Internal to the library.
class ProcessLogging {
public:
  /// Returns the hierarchy, which the first call for which there is memory sets up from the
  /// environment. Null without memory, and for a call from inside the set-up (an allocator that
  /// logs). The caller holds a RundownGuard of `Rundown::LOGGING` that was admitted.
  static LoggingHierarchy *hierarchy();

  /// Returns the category of that name, in any mix of upper and lower case; null without memory.
  static LoggingCategory *find_category(LoggingHierarchy &hierarchy, char const *name);

  /// The category that drops everything; never destroyed.
  static LoggingCategory &discarding_category();

  /// Whether a message of that level may be written: asked before it is formatted, and without the
  /// report of a root that has no priority.
  static bool may_pass(LoggingCategory const &category,
                       LoggingPriority::PriorityLevel level) noexcept;

  /// Lets every category drop its messages from now on, and deletes the outputs, which closes their
  /// files. They stay as they are if a thread is still logging after a second, or if the caller
  /// itself is (its layout or output ends the process).
  static void tear_down();

private:
  struct Discarding;

  static void set_up();
  static std::unique_ptr<LoggingHierarchy> make_configured();
};

} // namespace Ostrel
