// SPDX-License-Identifier: Apache-2.0

// A plug-in, which load_plugin.cpp loads by name at run time.

#include "core/base/foundation/Export.h"
#include "core/base/logging/LoggingCategory.hpp"

// C linkage: the symbol has the name of the function.
extern "C" OSTBASE_EXPORT double stopping_distance_m(double speed_m_per_s) {
  constexpr double DECELERATION_M_PER_S2 = 0.5;
  Ostrel::LoggingCategory::get_instance("Robot.Plugin")
      .info("braking from %.1f m/s", speed_m_per_s);
  return speed_m_per_s * speed_m_per_s / (2 * DECELERATION_M_PER_S2);
}
