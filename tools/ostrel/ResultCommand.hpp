// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <string>

namespace Ostrel::Tool {

/// Prints name, number and description of a result code.
///
/// @param text  a number, or the name in any case, with or without "RESULT_".
/// @return the exit status.
int run_result(Output &output, std::string const &text);

} // namespace Ostrel::Tool
