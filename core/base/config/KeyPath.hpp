// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <climits>
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

/// Goes from a key, or for null from above the top key, along a path.
///
/// @param find  gives the sub-key of a key that has that name and number, from 0; null for none.
/// @return where the path ends, the key itself for an empty one; null when a component names none.
template <class FindSubKey>
void const *walk_key_path(void const *key, char const *path, FindSubKey find) {
  char const *rest = skip_key_separators(path);
  while (*rest != '\0') {
    KeyPathComponent const component = read_key_component(rest);
    if (component.index > INT_MAX) {
      return nullptr;
    }
    key = find(key, component.name, static_cast<unsigned int>(std::max(component.index, 0L)));
    if (key == nullptr) {
      return nullptr;
    }
    rest = component.rest;
  }
  return key;
}

} // namespace Ostrel
