// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Findings.hpp"

#include <optional>
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

/// Whether the words of two names are the same, but misspelt or replaced by words of their kind.
bool have_like_words(std::vector<std::string> const &words, std::vector<std::string> const &known);

/// What is wrong with a log file. The file is not opened.
///
/// @param name  as in the variable.
std::optional<PathFault> find_log_file_fault(std::string const &name);

/// The registry file that the library reads, if it exists.
std::string registry_file();

/// The line of a value in the registry file, the last if there are several; 0 if there is none.
long find_registry_line(std::string const &name);

} // namespace Ostrel::Tool
