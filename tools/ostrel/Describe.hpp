// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <optional>
#include <string>

namespace Ostrel::Tool {

/// Prints what the schema says of a setting, by its full key or '$' and alias, or of all below a
/// key; without a key, a line for each setting. Returns the exit status.
int run_describe(Output &output, std::optional<std::string> const &key);

} // namespace Ostrel::Tool
