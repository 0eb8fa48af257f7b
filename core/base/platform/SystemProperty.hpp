// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/Platform.hpp"

#include <string>

namespace Ostrel {

/// As `Platform::get_system_property`, for a caller that must not go on with a default while the
/// registry names another place. Internal to the library.
/// @return also `RESULT_SYSTEM_ERROR`, `out` untouched, when a registry that exists cannot be read
///         at this moment (`is_momentary`).
unsigned long read_system_property(Platform::SystemProperty property, std::string *out);

} // namespace Ostrel
