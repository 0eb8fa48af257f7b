// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingCategory.hpp"

namespace Ostrel::Tool {

/// Drops the library's messages until the end of a block, in which the tool itself reports what
/// goes wrong. Categories for which the user has set a threshold still log.
class Silence {
public:
  Silence() : before_(category_.get_priority()) {
    category_.set_priority(LoggingPriority::LEVEL_DISABLED);
  }
  Silence(Silence const &) = delete;
  Silence &operator=(Silence const &) = delete;
  ~Silence() { category_.set_priority(before_); }

private:
  LoggingCategory &category_ = LoggingCategory::get_instance("Ostrel.Core");
  LoggingPriority::PriorityLevel before_;
};

} // namespace Ostrel::Tool
