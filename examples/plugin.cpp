// SPDX-License-Identifier: Apache-2.0

// A plug-in: what load_plugin.cpp loads by its name, without having been linked to it.

#include "core/base/foundation/Export.h"
#include "core/base/logging/LoggingCategory.hpp"

// With C linkage, so that the name by which it is looked up is the name that stands here.
extern "C" OSTBASE_EXPORT double stopping_distance_m(double speed_m_per_s) {
  constexpr double DECELERATION_M_PER_S2 = 0.5;
  Ostrel::LoggingCategory::get_instance("Robot.Plugin")
      .info("braking from %.1f m/s", speed_m_per_s);
  return speed_m_per_s * speed_m_per_s / (2 * DECELERATION_M_PER_S2);
}
