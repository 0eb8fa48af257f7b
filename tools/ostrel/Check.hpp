// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Findings.hpp"
#include "tools/ostrel/Output.hpp"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// What `config check` finds in a file.
struct CheckResult {
  bool is_malformed = false; ///< Or not readable.
  std::vector<Finding> findings;
};

CheckResult check_file(std::string const &path);

nlohmann::json findings_json(std::vector<Finding> const &findings);

/// Prints findings, one line each; nothing if the output is JSON.
void print_findings(Output &output, std::vector<Finding> const &findings);

/// Checks files; without any, the settings file. Returns the exit status.
int run_check(Output &output, std::vector<std::string> const &files);

} // namespace Ostrel::Tool
