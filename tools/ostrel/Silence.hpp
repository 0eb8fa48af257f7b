// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingCategory.hpp"

namespace Ostrel::Tool {

/// Drops the library's messages until the end of a block, in which the tool itself reports what
/// goes wrong. Categories for which the user has set a threshold still log.
class Silence {
public:
  /// All messages. Acts on the root, because a category does not become the parent of those that
  /// exist already.
  Silence() : Silence(LoggingCategory::get_root_category(), /*is_set_by_user=*/false) {}

  /// The messages of that category.
  explicit Silence(char const *category) : Silence(LoggingCategory::get_instance(category)) {}

  Silence(Silence const &) = delete;
  Silence &operator=(Silence const &) = delete;
  ~Silence() { category_.set_priority(before_); }

private:
  explicit Silence(LoggingCategory &category)
      : Silence(category, category.get_priority() != LoggingPriority::LEVEL_NOT_SET) {}

  Silence(LoggingCategory &category, bool is_set_by_user)
      : category_(category), before_(category.get_priority()) {
    if (!is_set_by_user) {
      category_.set_priority(LoggingPriority::LEVEL_DISABLED);
    }
  }

  LoggingCategory &category_;
  LoggingPriority::PriorityLevel const before_;
};

} // namespace Ostrel::Tool
