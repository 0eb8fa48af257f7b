// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// The categories to which the library logs, and those above them.
std::vector<std::string> const &log_categories();

} // namespace Ostrel::Tool
