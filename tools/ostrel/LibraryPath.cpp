// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/LibraryPath.hpp"

#include "core/base/platform/Platform.hpp"

#include <algorithm>
#include <string_view>

#include <dlfcn.h>

namespace Ostrel::Tool {

namespace {

std::size_t element_length(std::string_view path) {
  constexpr std::size_t DRIVE_LENGTH = 3; // letter, colon, separator
  bool const has_drive =
      Platform::is_absolute_path(std::string(path.substr(0, DRIVE_LENGTH)).c_str()) &&
      path.substr(1, 1) == ":";
  std::size_t const end = path.find_first_of(";:", has_drive ? DRIVE_LENGTH - 1 : 0);
  return end == path.npos ? path.size() : end;
}

} // namespace

std::vector<std::string> split_library_path(std::string const &text) {
  std::vector<std::string> directories;
  std::string_view path = text;
  while (!path.empty()) {
    std::size_t const length = element_length(path);
    if (length > 0) {
      directories.emplace_back(path.substr(0, length));
    }
    path.remove_prefix(std::min(length + 1, path.size()));
  }
  return directories;
}

std::string base_library_file() {
  Dl_info library = {};
  void *const symbol = dlsym(RTLD_DEFAULT, "ovra_snprintf");
  return symbol != nullptr && dladdr(symbol, &library) != 0 ? library.dli_fname : "";
}

} // namespace Ostrel::Tool
