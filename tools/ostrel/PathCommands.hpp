// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// The names of the properties, by number.
std::vector<std::string> const &property_names();

/// Prints the directories of a property and what supplied each; of all properties if it is empty.
/// Returns the exit status, as below.
int run_path_show(Output &output, std::string const &property);

/// Prints the first file of that name along the search path of a property.
int run_path_find(Output &output, std::string const &property, std::string const &file);

/// Prints the file that a load of a library would take, and loads nothing.
int run_lib_find(Output &output, std::string const &name);

} // namespace Ostrel::Tool
