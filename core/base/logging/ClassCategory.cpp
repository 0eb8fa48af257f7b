// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/ClassCategory.hpp"

#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/ProcessLogging.hpp"

namespace Ostrel {

LoggingCategory &ClassCategory::get() {
  LoggingCategory &found = LoggingCategory::get_instance(name_);
  if (&found != &ProcessLogging::discarding_category()) {
    cached_.store(&found, std::memory_order_release);
  }
  return found;
}

} // namespace Ostrel
