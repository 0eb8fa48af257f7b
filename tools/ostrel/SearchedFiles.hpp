// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/SearchPathElement.hpp"

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// A place where the library looks for the settings file.
struct SearchedFile {
  SearchPathElement element; ///< Built in, with an empty directory, for the current directory.
  bool is_current_directory = false; ///< The last place, which no search path names.
  std::string directory;             ///< For the system's calls.
  std::string file;
  bool exists = false;
  bool is_readable = false;
  bool is_used = false; ///< The one that the library reads.
};

/// All places, in the order of the search.
std::vector<SearchedFile> search_settings_file();

} // namespace Ostrel::Tool
