// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <string>

namespace Ostrel::Tool {

/// Prints the aliases and what declares them. Returns the exit status, as below.
int run_alias_list(Output &output);

/// Prints the full key of an alias, which is named with or without its '$'.
int run_alias_resolve(Output &output, std::string const &name);

} // namespace Ostrel::Tool
