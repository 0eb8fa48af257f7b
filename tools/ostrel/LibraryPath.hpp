// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// The directories of PATH or OSTREL_LIBRARY_PATH, as a load of a library reads them: separated by
/// ';' or ':', unless that is the colon of a drive at the start. An empty element is none.
std::vector<std::string> split_library_path(std::string const &text);

/// The file of the base library that this process has loaded; empty if it is unknown.
std::string base_library_file();

} // namespace Ostrel::Tool
