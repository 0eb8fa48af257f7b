// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/KeyPath.hpp"

#include <cstdlib>
#include <cstring>

namespace Ostrel {

KeyPathComponent read_key_component(char const *path) {
  KeyPathComponent component;
  std::size_t const length = std::strcspn(path, "/\\:");
  component.name = std::string_view(path, length);
  char const *behind = path + length;
  if (*behind == ':') {
    char *end = nullptr;
    component.index = std::strtol(behind + 1, &end, 10);
    behind = end;
  }
  // Any other character after an index ends the whole path.
  if (is_key_separator(*behind)) {
    component.rest = skip_key_separators(behind);
  }
  return component;
}

} // namespace Ostrel
