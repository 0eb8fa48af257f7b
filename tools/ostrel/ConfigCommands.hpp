// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <optional>
#include <string>
#include <vector>

namespace Ostrel::Tool {

// The commands of the settings. Each returns the exit status.

struct GetOptions {
  std::string key;
  std::string type = "text"; ///< text, long, double, bool or series.
  std::string unit;          ///< Empty for none.
  std::optional<std::string> default_text;
};

/// Prints a setting.
int run_get(Output &output, GetOptions const &options);

/// Sets settings in the file, all or none.
///
/// @param assignments  "KEY=VALUE" each.
/// @param is_dry_run   true prints what would change and writes nothing.
int run_set(Output &output, std::vector<std::string> const &assignments, bool is_dry_run);

/// Removes settings from the file, after a check that all exist.
int run_unset(Output &output, std::vector<std::string> const &keys);

/// Prints every setting of the file.
///
/// @param path         only the settings at or below it, if it is not empty; also '$' and an alias.
/// @param with_origin  true prints file and line as well.
int run_list(Output &output, std::string const &path, bool with_origin);

/// Prints why a setting has its value.
int run_explain(Output &output, std::string const &key);

} // namespace Ostrel::Tool
