// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingCategory.hpp"

namespace Ostrel::Tool {

/// Drops the messages of a category and those below it until the end of a block, in which the tool
/// itself reports what goes wrong. Categories for which the user has set a threshold still log.
class Silence {
public:
  explicit Silence(char const *category = "Ostrel.Core")
      : category_(LoggingCategory::get_instance(category)), before_(category_.get_priority()) {
    if (before_ == LoggingPriority::LEVEL_NOT_SET) {
      category_.set_priority(LoggingPriority::LEVEL_DISABLED);
    }
  }
  Silence(Silence const &) = delete;
  Silence &operator=(Silence const &) = delete;
  ~Silence() { category_.set_priority(before_); }

private:
  LoggingCategory &category_;
  LoggingPriority::PriorityLevel const before_;
};

} // namespace Ostrel::Tool
