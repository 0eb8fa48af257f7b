// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <atomic>
#include <cstddef>
#include <memory>

namespace Ostrel {

class IAcquirable;
class LoggingCategory;
class LoggingHierarchy;

/// A thread's stay among the things that a hierarchy deletes at its end: categories' outputs and
/// the hierarchy itself. What a visitor finds alive stays alive until it leaves. Internal to the
/// library.
class LoggingVisit {
public:
  /// Visits the process's hierarchy, which the teardown deletes only when every visitor has left.
  /// @param hierarchy  null once the teardown has begun.
  //
  // Sequentially consistent: either the visitor sees that the teardown has begun, or the teardown
  // sees the visitor. Who comes too late is not counted, or many of them could keep it waiting.
  explicit LoggingVisit(std::atomic<LoggingHierarchy *> const &hierarchy) noexcept
      : hierarchy_(hierarchy.load()) {
    if (hierarchy_ == nullptr) {
      return;
    }
    _visitors.fetch_add(1);
    hierarchy_ = hierarchy.load();
    is_counted_ = hierarchy_ != nullptr;
    if (!is_counted_) {
      _visitors.fetch_sub(1);
    }
  }

  /// Visits a hierarchy that somebody made, who sees to it himself that nobody is there when he
  /// deletes it.
  explicit LoggingVisit(LoggingHierarchy *hierarchy) noexcept : hierarchy_(hierarchy) {}

  LoggingVisit(LoggingVisit const &) = delete;
  LoggingVisit &operator=(LoggingVisit const &) = delete;
  ~LoggingVisit() {
    if (is_counted_) {
      _visitors.fetch_sub(1);
    }
  }

  /// The hierarchy, or null when it is gone.
  LoggingHierarchy *hierarchy() const noexcept { return hierarchy_; }

  /// Whether somebody is in the process's hierarchy.
  static bool is_any() noexcept { return _visitors.load() != 0; }

  /// Waits until every visitor has left, for about a second at most.
  /// @return whether they have.
  static bool wait_for_all() noexcept;

  /// For who knows that nobody can be there.
  static void forget_all() noexcept { _visitors.store(0); }

private:
  LoggingHierarchy *hierarchy_;
  bool is_counted_ = false;

  static std::atomic<int> _visitors; // of the process's hierarchy
};

/// The one hierarchy of the process: its set-up by the first logging call, its teardown when the
/// library goes, and what late callers are given then. Internal to the library.
class ProcessLogging {
public:
  /// Visits the hierarchy, which the first call for which there is memory sets up from the
  /// environment. The visitor finds null before that, also when it comes from inside the set-up,
  /// and when it has been torn down.
  static LoggingVisit visit();

  /// Gives the category of that name, in any mix of upper and lower case; null without memory.
  static LoggingCategory *find_category(LoggingHierarchy &hierarchy, char const *name);

  /// The category that drops everything, at any time and for ever.
  static LoggingCategory &discarding_category();

  /// Gives memory for a category of the process's hierarchy; null when there is none. It is never
  /// given back: a category stays for whoever kept a pointer to it.
  static void *allocate_for_ever(std::size_t size);

  /// Whether a message of that level may be written: asked before it is formatted, and without the
  /// report of a root that has no priority.
  static bool may_pass(LoggingCategory const &category,
                       LoggingPriority::PriorityLevel level) noexcept;

  /// Makes every category drop what it is given and then deletes the outputs, which closes their
  /// files. They are left as they are when a visitor stays for longer than a second: it may have
  /// been terminated there, or be the caller, whose layout or output ends the process. So are they
  /// in a child of a process of which another thread was on a visit at the fork: the child has the
  /// visit, but not the thread. While a set-up lasts for longer than a second, or is the caller's,
  /// there is nothing to tear down.
  static void tear_down();

private:
  static void set_up();
  static std::unique_ptr<LoggingHierarchy> make_configured();
  static bool configure_from_environment(LoggingHierarchy &hierarchy);
  static bool configure(LoggingCategory &category, LoggingPriority::PriorityLevel priority);

  // That of the hierarchy, for whoever forks.
  static IAcquirable *take_mutex();
};

} // namespace Ostrel
