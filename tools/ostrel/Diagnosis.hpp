// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Findings.hpp"

#include <string>
#include <vector>

namespace Ostrel::Tool {

// What `doctor` looks for, one subject each. Every function appends to the findings.

/// Directories of all search paths, and the variables that name them.
void diagnose_search_paths(std::vector<Finding> *findings);

/// The settings file: which one is read, and whether it can be read and written.
void diagnose_settings_file(std::vector<Finding> *findings);

/// The registry file.
void diagnose_registry(std::vector<Finding> *findings);

/// The variables of the log, and its file.
void diagnose_logging(std::vector<Finding> *findings);

/// Variables that are misspelt, or have a value without effect.
void diagnose_variables(std::vector<Finding> *findings);

/// The registry file that the library reads, if it exists.
std::string registry_file();

} // namespace Ostrel::Tool
