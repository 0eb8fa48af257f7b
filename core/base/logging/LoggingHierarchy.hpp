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

/// A registry that makes categories on demand, each below its nearest registered ancestor, and owns
/// them. `LoggingCategory::get_instance` uses that of the process; a hierarchy of the program's own
/// is independent of it.
///
/// Any thread may call any operation, but `clear_all` and the destructor must not overlap with the
/// use of a category that they delete.
class OSTBASE_API LoggingHierarchy {
public:
  /// Makes the root, with the default threshold and an output to standard error.
  LoggingHierarchy();
  LoggingHierarchy(LoggingHierarchy const &) = delete;
  LoggingHierarchy &operator=(LoggingHierarchy const &) = delete;
  /// Deletes the categories and their outputs.
  ~LoggingHierarchy();

  /// Returns the category of exactly that name, and makes it if there is none; the empty name is
  /// the root. The hierarchy owns it. Null without memory, and without a root.
  LoggingCategory *get_instance(std::string const &name);

  /// Returns the category registered under exactly that name, or one that drops everything.
  LoggingCategory &get_value(std::string const &name);

  /// Returns the root, or if it could not be made, a category that drops everything.
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
  // Whether there was memory for all parts of a new hierarchy.
  bool is_complete() const;

  LoggingCategory *find_category(std::string const &name) const OSTBASE_REQUIRES(mutex_);
  LoggingCategory *nearest_parent(std::string const &name) const OSTBASE_REQUIRES(mutex_);
  LoggingCategory *make_category(std::string_view name, LoggingCategory *parent,
                                 LoggingPriority::PriorityLevel priority) OSTBASE_REQUIRES(mutex_);
  void *allocate_category(std::size_t size) const;
  void dispose_of(LoggingCategory *category) const;

  // Acquires the mutex, and returns all that was registered but the root.
  Categories take_registered();
  // Deletes these, without the mutex, since the program's outputs are deleted with them.
  // @return whether there was any.
  bool delete_registered();

  void set_priority(LoggingCategory &category, LoggingPriority::PriorityLevel priority);
  // Has every category drop its messages from now on.
  void silence();

  Categories categories_ OSTBASE_GUARDED_BY(mutex_);
  LoggingCategory *root_ = nullptr;   // null if it could not be made
  std::unique_ptr<IMutex> own_mutex_; // null in the process's hierarchy, and without memory
  IAcquirable *mutex_ = nullptr;      // that, or the process's
  Lifetime lifetime_;
};

} // namespace Ostrel
