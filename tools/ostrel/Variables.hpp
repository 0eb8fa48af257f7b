// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// The environment variables that the library reads.
std::vector<std::string> const &library_variables();

/// The names of all variables of this process, sorted.
std::vector<std::string> environment_names();

} // namespace Ostrel::Tool
