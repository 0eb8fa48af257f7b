// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace Ostrel {

class LoggingCategory;

/// The category of a class that reports, got by its name at the first need and kept. What is given
/// when there is no memory for it drops that one message: the next need asks again. Internal to the
/// library.
///
/// To be defined at namespace scope, where it is constant at first and never destroyed, and used
/// like a function: `category().warn("Unable to find file '%s'", name);` (Not a local static, whose
/// first use is locked: a child of fork would wait for ever for one that another thread was just
/// making.)
class ClassCategory {
public:
  /// @param name  borrowed for ever.
  constexpr explicit ClassCategory(char const *name) noexcept : name_(name) {}
  ClassCategory(ClassCategory const &) = delete;
  ClassCategory &operator=(ClassCategory const &) = delete;

  // Acquire: another thread may have been given the category, and made it.
  LoggingCategory &operator()() {
    LoggingCategory *const kept = kept_.load(std::memory_order_acquire);
    return kept != nullptr ? *kept : get();
  }

private:
  LoggingCategory &get();

  char const *const name_;
  std::atomic<LoggingCategory *> kept_{nullptr}; // never the one that drops everything
};

} // namespace Ostrel
