// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <climits>
#include <string_view>

namespace Ostrel {

/// One component of a key path and what follows it. Internal to the library.
struct KeyPathComponent {
  std::string_view name; ///< empty: every sub-key counts
  long index = 0;        ///< among the sub-keys of that name, from 0
  char const *rest = ""; ///< the path after the component and its separators
};

inline bool is_key_separator(char character) {
  return character == '/' || character == '\\';
}

inline char const *skip_key_separators(char const *path) {
  while (is_key_separator(*path)) {
    ++path;
  }
  return path;
}

/// Reads the first component of a path that begins with one.
KeyPathComponent read_key_component(char const *path);

/// Follows a path from a key, or from above the top key for null.
///
/// @param find  returns the sub-key of a key with a given name and index; null for none.
/// @return the key at the end of the path, `key` for an empty path; null if a component is not
///         found.
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
