// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/Platform.hpp"

#include <string>

namespace Ostrel {

/// As `Platform::get_environment_variable`, but throws `std::bad_alloc` without memory, so that the
/// caller can tell this from a variable that is not set. Internal to the library.
bool read_environment(char const *name, std::string *value);

/// As `Platform::get_system_property`, but does not fall back to a default if the registry exists
/// and cannot be read for a temporary reason (`is_temporary`): then it returns
/// `RESULT_SYSTEM_ERROR`, with `out` untouched. Internal to the library.
unsigned long read_system_property(Platform::SystemProperty property, std::string *out);

} // namespace Ostrel
