// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>

namespace Ostrel {

class LoggingCategory;
class LoggingHierarchy;

/// The one hierarchy of the process: its set-up by the first logging call, its teardown when the
/// library goes, and what late callers are given then. Internal to the library.
class ProcessLogging {
public:
  /// Gives the hierarchy, set up from the environment by the first call.
  /// Needs a `LoggingVisit`, for whose duration the hierarchy stays.
  /// @return null when it could not be made, and when it has been torn down.
  static LoggingHierarchy *hierarchy();

  /// Gives the category of that name, in any mix of upper and lower case; null without memory.
  static LoggingCategory *find_category(LoggingHierarchy &hierarchy, char const *name);

  /// The category that drops everything, at any time and for ever.
  static LoggingCategory &discarding_category();

  /// Gives memory for a category of the process's hierarchy; null when there is none. It is never
  /// given back: a category stays for whoever kept a pointer to it.
  static void *allocate_for_ever(std::size_t size);

  /// Closes the outputs and makes every category drop what it is given. Not to be called by a
  /// thread that is on a `LoggingVisit`, which is waited for in vain, if not for long.
  static void tear_down();

private:
  static void set_up();
};

/// A thread's stay among the things that the teardown deletes: outputs and the hierarchy. What it
/// finds alive after it came in stays alive until it leaves. Internal to the library.
class LoggingVisit {
public:
  // Sequentially consistent, as are the pointers by which a visitor finds out what is alive: either
  // the visitor sees that the teardown has begun, or the teardown sees the visitor.
  LoggingVisit() noexcept { _visitors.fetch_add(1); }
  LoggingVisit(LoggingVisit const &) = delete;
  LoggingVisit &operator=(LoggingVisit const &) = delete;
  ~LoggingVisit() { _visitors.fetch_sub(1); }

  /// Waits until every visitor has left, for about a second at most.
  /// @return whether they have.
  static bool wait_for_all() noexcept;

private:
  static std::atomic<int> _visitors;
};

} // namespace Ostrel
