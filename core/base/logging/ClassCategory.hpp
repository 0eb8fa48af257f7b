// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace Ostrel {

class LoggingCategory;

/// The category of a class that logs, looked up by name at first use and cached. If out of memory,
/// drops the message; the next use retries. Internal to the library.
///
/// Define it at namespace scope, where it is constant-initialised and never destroyed, and call it
/// like a function: `category().warn("Unable to find file '%s'", name);` Not a local static:
/// another thread may hold the lock of its initialisation during a fork, and the child would wait
/// forever.
class ClassCategory {
public:
  /// @param name  borrowed permanently.
  constexpr explicit ClassCategory(char const *name) noexcept : name_(name) {}
  ClassCategory(ClassCategory const &) = delete;
  ClassCategory &operator=(ClassCategory const &) = delete;

  // Acquire: another thread may have created the category.
  LoggingCategory &operator()() {
    LoggingCategory *const cached = cached_.load(std::memory_order_acquire);
    return cached != nullptr ? *cached : get();
  }

private:
  LoggingCategory &get();

  char const *const name_;
  std::atomic<LoggingCategory *> cached_{nullptr}; // never the discarding one
};

} // namespace Ostrel
