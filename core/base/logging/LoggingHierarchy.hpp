// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ThreadSafety.hpp"
#include "core/base/logging/LoggingPriority.hpp"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace Ostrel {

class IAcquirable;
class IMutex;
class LoggingCategory;

/// A registry that creates categories on demand, each below its nearest registered ancestor, and
/// owns them. `LoggingCategory::get_instance` uses the hierarchy of the process; one that a program
/// creates is independent of it.
///
/// Any thread may call any operation, but `clear_all` and the destructor must not overlap with the
/// use of a category that they delete.
class OSTBASE_API LoggingHierarchy {
public:
  /// Creates the root, with the default threshold and an output to standard error.
  LoggingHierarchy();
  LoggingHierarchy(LoggingHierarchy const &) = delete;
  LoggingHierarchy &operator=(LoggingHierarchy const &) = delete;
  /// Deletes the categories and their outputs.
  ~LoggingHierarchy();

  /// Returns the category of exactly that name, and creates it if there is none. The empty name is
  /// the root. The hierarchy owns the category. Null if out of memory or without a root.
  LoggingCategory *get_instance(std::string const &name);

  /// Returns the category registered under exactly that name, or one that drops every message.
  LoggingCategory &get_value(std::string const &name);

  /// Returns the root, or if it could not be created, a category that drops every message.
  LoggingCategory &get_root_category();

  /// Deletes every category but the root.
  void clear_all();

private:
  friend class LoggingCategory;
  friend class ProcessLogging;

  enum class Lifetime : int {
    CALLER, // categories are deleted
    PROCESS // categories stay, silenced, since callers keep pointers to them
  };

  using Categories = std::map<std::string, LoggingCategory *>;

  explicit LoggingHierarchy(Lifetime lifetime);
  // Whether the construction had enough memory.
  bool is_complete() const;

  LoggingCategory *find_category(std::string const &name) const OSTBASE_REQUIRES(mutex_);
  LoggingCategory *nearest_parent(std::string const &name) const OSTBASE_REQUIRES(mutex_);
  LoggingCategory *make_category(std::string_view name, LoggingCategory *parent,
                                 LoggingPriority::PriorityLevel priority) OSTBASE_REQUIRES(mutex_);
  void *allocate_category(std::size_t size) const;
  void dispose_of(LoggingCategory *category) const;

  // Acquires the mutex, unregisters all categories but the root, and returns them.
  Categories take_registered();
  // Deletes them without the mutex, because their outputs may be the program's.
  // @return whether there were any.
  bool delete_registered();

  void set_priority(LoggingCategory &category, LoggingPriority::PriorityLevel priority);
  // Makes every category drop its messages permanently.
  void silence();

  Categories categories_ OSTBASE_GUARDED_BY(mutex_);
  LoggingCategory *root_ = nullptr;   // null if it could not be created
  std::unique_ptr<IMutex> own_mutex_; // null in the process's hierarchy, or if out of memory
  IAcquirable *mutex_ = nullptr;      // own_mutex_ or the process's
  Lifetime lifetime_;
};

} // namespace Ostrel
