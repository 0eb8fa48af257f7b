// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Ostrel {

/// Reads an environment variable, for callers that tell a lack of memory from a variable that is
/// not set: for that it throws `std::bad_alloc`.
///
/// @param value  receives its text; untouched when the variable is not set; may be null.
/// @return true when the variable is set, be it to the empty text; false also for a null name.
bool read_environment(char const *name, std::string *value);

} // namespace Ostrel
