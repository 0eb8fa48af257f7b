// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

namespace Ostrel::Tool {

/// Removes the variables of the log from the environment, so that the library logs the tool's own
/// doings to standard error, and not into the log file of the robot's programs. For the start of
/// `main`: the library reads the variables when it logs for the first time.
void hide_log_variables();

/// The variables of this process by their names, those that are hidden included.
std::map<std::string, std::string> read_variables();

/// The environment variables that the library reads.
std::vector<std::string> const &library_variables();

} // namespace Ostrel::Tool
