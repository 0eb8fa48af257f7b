// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Ostrel {

class IConfigSource;
class XmlConfigSource;

/// What separates the components of a key path.
inline bool is_key_separator(char character) {
  return character == '/' || character == '\\';
}

inline char const *skip_key_separators(char const *path) {
  while (is_key_separator(*path)) {
    ++path;
  }
  return path;
}

/// An index of the sub-keys of a source, so that a look-up by index needs no walk. Internal to the
/// library.
///
/// Filled for a key when it is first searched, extended when a sub-key is added to it, and dropped
/// as a whole when any key is removed.
struct KeyIndex {
  /// By name, borrowed from the keys, in document order; the empty name holds every sub-key.
  using SubKeys = std::unordered_map<std::string_view, std::vector<void const *>>;

  /// Adds the last sub-key of a key.
  /// @return false without memory; the index is then unusable.
  bool append(void const *key, std::string_view name, void const *sub_key) noexcept;

  std::unordered_map<void const *, SubKeys> keys;
};

/// Finds keys and values in any source: by the index of an `XmlConfigSource`, by walking a source
/// of another class. Internal to the library.
///
/// A class derived from `XmlConfigSource` counts as another class: its overriders of the walk may
/// differ from the index. The caller holds the lock of all facades and, for an indexed source, that
/// of all XML sources.
class SourceLookUp {
public:
  /// @param source  borrowed.
  explicit SourceLookUp(IConfigSource const &source) noexcept;

  /// The source if it has an index; null for a source of another class.
  XmlConfigSource const *indexed() const noexcept { return indexed_; }

  /// The key of a path below `key`, or from the top for a null key; `key` for a null or empty path.
  /// Null for none. Throws std::bad_alloc without memory.
  void const *find_key(void const *key, char const *path) const;

  /// The first value of that name; a null or empty name means the text value. Throws std::bad_alloc
  /// without memory.
  /// @param text  untouched if the result is null.
  void const *find_value(void const *key, char const *name, std::string *text) const;

  /// The number of children that `find_indexed_sub_key` finds by that name; 0 without an index.
  int count_indexed_sub_keys(void const *key, char const *name) const noexcept;

  /// Registers the class that has an index. Called in the constructor of `XmlConfigSource`, where
  /// the object is of exactly that class.
  static void register_indexed_class(IConfigSource const &source) noexcept;

private:
  void const *find_indexed_key(void const *key, std::string_view name, unsigned int index) const;

  IConfigSource const &source_;
  XmlConfigSource const *indexed_;
};

} // namespace Ostrel
