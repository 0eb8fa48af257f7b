// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/ClassCategory.hpp"

#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/ProcessLogging.hpp"

namespace Ostrel {

LoggingCategory &ClassCategory::get() {
  LoggingCategory &given = LoggingCategory::get_instance(name_);
  if (&given != &ProcessLogging::discarding_category()) {
    kept_.store(&given, std::memory_order_release);
  }
  return given;
}

} // namespace Ostrel
