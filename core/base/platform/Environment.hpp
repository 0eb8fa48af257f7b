// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Ostrel {

/// As `Platform::get_environment_variable`, but throws `std::bad_alloc` without memory, so that the
/// caller can tell this from a variable that is not set. Internal to the library.
bool read_environment(char const *name, std::string *value);

} // namespace Ostrel
