// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <string>

namespace Ostrel::Tool {

/// Prints a number in another unit of its kind. Returns the exit status, as below.
int run_units_convert(Output &output, std::string const &number, std::string const &from,
                      std::string const &to);

/// Prints the units of a kind with their sizes; of all kinds if it is empty.
int run_units_list(Output &output, std::string const &kind);

} // namespace Ostrel::Tool
