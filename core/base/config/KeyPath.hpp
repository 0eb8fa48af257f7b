// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace Ostrel {

/// One component of a key path and what follows it. Internal to the library.
struct KeyPathComponent {
  std::string_view name; ///< may be empty: then every sub-key counts
  long index = 0;        ///< which of the sub-keys of that name, from 0
  char const *rest = ""; ///< the path behind the component, without separators in front
};

/// Whether the character separates the components of a key path.
inline bool is_key_separator(char character) {
  return character == '/' || character == '\\';
}

/// Steps over separators. What comes back is at a component or at the end of the path.
inline char const *skip_key_separators(char const *path) {
  while (is_key_separator(*path)) {
    ++path;
  }
  return path;
}

/// Reads the first component of a path that begins with one.
KeyPathComponent read_key_component(char const *path);

} // namespace Ostrel
