// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/SettingExplanation.hpp"

#include <vector>

namespace Ostrel::Tool {

/// A place where the library looks for the settings file.
struct SearchedFile : SettingPlace {
  bool exists = false;  ///< Also if it cannot be read.
  bool is_used = false; ///< The file that the library reads, whether it parses or not.
};

/// All places, in the order of the search.
std::vector<SearchedFile> search_settings_file();

} // namespace Ostrel::Tool
