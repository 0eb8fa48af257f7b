// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/SearchedFiles.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"

#include <filesystem>
#include <system_error>

namespace Ostrel::Tool {

std::vector<SearchedFile> search_settings_file() {
  std::vector<SearchPathElement> elements;
  Platform::get_search_path_elements(Platform::CONFIG_PATH, &elements);
  elements.emplace_back(); // the current directory, always last
  std::vector<SearchedFile> places;
  bool is_found = false;
  for (SearchPathElement const &element : elements) {
    SearchedFile place;
    place.element = element;
    place.is_current_directory = &element == &elements.back();
    place.directory =
        element.directory.empty() ? "." : Platform::native_path(element.directory.c_str());
    place.file = (std::filesystem::path(place.directory) / "user-config.xml").string();
    std::error_code error;
    place.exists = std::filesystem::symlink_status(place.file, error).type() !=
                   std::filesystem::file_type::not_found;
    place.is_readable = Platform::file_exists(place.file.c_str()) == RESULT_SUCCESS;
    place.is_used = place.is_readable && !is_found;
    is_found = is_found || place.is_used;
    places.push_back(place);
  }
  return places;
}

} // namespace Ostrel::Tool
