// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

namespace Ostrel::Tool {

/// Prints what is wrong with the surroundings of the library: its variables, search paths, files
/// and log.
///
/// @param report  true prints a page for a bug report as well: versions, places, what is read.
/// @return the exit status.
int run_doctor(Output &output, bool report);

} // namespace Ostrel::Tool
