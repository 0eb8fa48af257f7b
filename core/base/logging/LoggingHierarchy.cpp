// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingHierarchy.hpp"

#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/logging/CategoryMemory.hpp"
#include "core/base/logging/ILoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"
#include "core/base/logging/ProcessLogging.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

#include <new>
#include <utility>

namespace Ostrel {

LoggingHierarchy::LoggingHierarchy() : LoggingHierarchy(Lifetime::CALLER) {}

LoggingHierarchy::LoggingHierarchy(Lifetime lifetime) : lifetime_(lifetime) {
  if (lifetime == Lifetime::PROCESS) {
    mutex_ = &ProcessMutex::of(ProcessMutex::LOGGING);
  } else {
    own_mutex_.reset(Platform::create_mutex(true));
    mutex_ = own_mutex_.get();
  }
  root_ = make_category("", nullptr, LoggingPriority::_default_priority);
  if (root_ != nullptr) {
    root_->set_logging_output(nullptr);
  }
}

bool LoggingHierarchy::is_complete() const {
  return root_ != nullptr && root_->output_ != nullptr &&
         static_cast<LoggingOutputImpl const &>(*root_->output_).is_complete();
}

// The destructor of an output may create categories. So the root is deleted after all outputs, and
// the categories that the destructors created are deleted as well.
LoggingHierarchy::~LoggingHierarchy() {
  if (root_ == nullptr) {
    return;
  }
  if (lifetime_ == Lifetime::PROCESS) {
    silence();
  }
  delete_registered();
  root_->output_.reset();
  while (delete_registered()) {
  }
  dispose_of(std::exchange(root_, nullptr));
}

LoggingCategory *LoggingHierarchy::get_instance(std::string const &name) try {
  if (root_ == nullptr) {
    return nullptr;
  }
  RetryingLock const lock(mutex_);
  LoggingCategory *const known = find_category(name);
  if (known != nullptr) {
    return known;
  }
  LoggingCategory *const parent = nearest_parent(name);
  auto const entry = categories_.emplace(name, nullptr).first;
  entry->second = name.empty() ? root_ : make_category(name, parent, LoggingPriority::NOT_SET);
  if (entry->second == nullptr) {
    categories_.erase(entry);
    return nullptr;
  }
  return entry->second;
} catch (std::bad_alloc const &) {
  return nullptr;
}

LoggingCategory &LoggingHierarchy::get_value(std::string const &name) {
  RetryingLock const lock(mutex_);
  LoggingCategory *const category = find_category(name);
  return category != nullptr ? *category : ProcessLogging::discarding_category();
}

LoggingCategory &LoggingHierarchy::get_root_category() {
  return root_ != nullptr ? *root_ : ProcessLogging::discarding_category();
}

void LoggingHierarchy::clear_all() {
  if (root_ != nullptr) {
    delete_registered();
  }
}

bool LoggingHierarchy::delete_registered() {
  Categories const registered = take_registered();
  // The outputs first: their destructors may log through any category.
  for (auto const &[name, category] : registered) {
    category->output_.reset();
  }
  for (auto const &[name, category] : registered) {
    dispose_of(category);
  }
  return !registered.empty();
}

LoggingHierarchy::Categories LoggingHierarchy::take_registered() {
  RetryingLock const lock(mutex_);
  auto root_entry = categories_.extract(std::string());
  Categories registered = std::exchange(categories_, {});
  categories_.insert(std::move(root_entry));
  root_->first_child_ = nullptr;
  return registered;
}

LoggingCategory *LoggingHierarchy::find_category(std::string const &name) const {
  auto const entry = categories_.find(name);
  return entry != categories_.end() ? entry->second : nullptr;
}

LoggingCategory *LoggingHierarchy::nearest_parent(std::string const &name) const {
  std::string shortened = name;
  for (std::size_t dot; (dot = shortened.rfind('.')) != std::string::npos;) {
    shortened.resize(dot);
    LoggingCategory *const category = find_category(shortened);
    if (category != nullptr) {
      return category;
    }
  }
  return root_;
}

// Allocates a category and its name as one block.
LoggingCategory *LoggingHierarchy::make_category(std::string_view name, LoggingCategory *parent,
                                                 LoggingPriority::PriorityLevel priority) {
  void *const memory = allocate_category(sizeof(LoggingCategory) + name.size() + 1);
  if (memory == nullptr) {
    return nullptr;
  }
  char *const text = static_cast<char *>(memory) + sizeof(LoggingCategory);
  text[name.copy(text, name.size())] = '\0';
  auto *const category =
      new (memory) LoggingCategory(std::string_view(text, name.size()), parent, priority, this);
  category->is_process_wide_ = lifetime_ == Lifetime::PROCESS;
  if (parent != nullptr) {
    category->next_sibling_ = parent->first_child_;
    parent->first_child_ = category;
  }
  return category;
}

void *LoggingHierarchy::allocate_category(std::size_t size) const {
  return lifetime_ == Lifetime::PROCESS ? CategoryMemory::allocate(size)
                                        : ::operator new(size, std::nothrow);
}

void LoggingHierarchy::dispose_of(LoggingCategory *category) const {
  if (lifetime_ == Lifetime::PROCESS) {
    category->silence();
    category->output_.reset();
    return;
  }
  category->~LoggingCategory();
  ::operator delete(category);
}

void LoggingHierarchy::set_priority(LoggingCategory &category,
                                    LoggingPriority::PriorityLevel priority) {
  RetryingLock const lock(mutex_);
  if (category.hierarchy_.load() == nullptr) {
    return; // cleared: stays silent
  }
  category.priority_.store(priority, std::memory_order_relaxed);
  category.update_threshold();
}

void LoggingHierarchy::silence() {
  RetryingLock const lock(mutex_);
  for (auto const &[name, category] : categories_) {
    category->silence();
  }
  root_->silence();
}

} // namespace Ostrel
