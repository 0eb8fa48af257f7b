// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// A part of the page for a bug report.
struct Section {
  std::string title;
  std::vector<std::string> lines;
};

/// The page: versions, variables, search paths, the settings file, the registry and the log.
std::vector<Section> write_report();

} // namespace Ostrel::Tool
