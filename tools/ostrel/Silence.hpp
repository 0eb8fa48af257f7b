// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingCategory.hpp"

namespace Ostrel::Tool {

/// Drops the library's messages until the end of a block, in which the tool itself reports what
/// goes wrong.
class Silence {
public:
  /// The messages of a category, and of those below it that are created in the block; without a
  /// name all.
  explicit Silence(char const *category = "")
      : category_(LoggingCategory::get_instance(category)), before_(category_.get_priority()) {
    category_.set_priority(LoggingPriority::LEVEL_DISABLED);
  }

  Silence(Silence const &) = delete;
  Silence &operator=(Silence const &) = delete;
  ~Silence() { category_.set_priority(before_); }

private:
  LoggingCategory &category_;
  LoggingPriority::PriorityLevel const before_;
};

} // namespace Ostrel::Tool
