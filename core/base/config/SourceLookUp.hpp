// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Ostrel {

class IConfigSource;
class XmlConfigSource;

/// Where the sub-keys of the keys of a source are, so that reading a list by index costs no walk
/// for each item. Internal to the library.
///
/// Made for a key when it is first searched; dropped as a whole when any key is added or removed.
struct KeyIndex {
  /// By name, borrowed from the keys, in the order of the source; the empty name has every sub-key.
  using SubKeys = std::unordered_map<std::string_view, std::vector<void const *>>;

  std::unordered_map<void const *, SubKeys> keys;
};

/// Finds keys and values in any source: by the index of an `XmlConfigSource`, by walking a source
/// of another class. Internal to the library.
///
/// A class derived from `XmlConfigSource` is another class: it may walk in a way of its own, which
/// the index would not follow. Needs the lock of all facades held, and that of an indexed source.
class SourceLookUp {
public:
  /// @param source  borrowed.
  explicit SourceLookUp(IConfigSource const &source) noexcept;

  /// The source when it has an index; null for one of another class.
  XmlConfigSource const *indexed() const noexcept { return indexed_; }

  /// The key of a path below a key, or for a null key from the top; the key itself for a null or an
  /// empty path. Null when there is none. Throws std::bad_alloc without memory.
  void const *find_key(void const *key, char const *path) const;

  /// The first value of that name; null and empty name the text value.
  /// @param text  untouched when the result is null.
  /// Throws std::bad_alloc without memory.
  void const *find_value(void const *key, char const *name, std::string *text) const;

  /// How many children of a key `find_indexed_sub_key` finds by that name; 0 without an index.
  int count_indexed_sub_keys(void const *key, char const *name) const noexcept;

  /// Makes the class of a source the one that has an index. Called in the constructor of
  /// `XmlConfigSource`, where an object is of exactly that class.
  static void register_indexed_class(IConfigSource const &source) noexcept;

private:
  void const *find_indexed_key(void const *key, std::string_view name, unsigned int index) const;

  IConfigSource const &source_;
  XmlConfigSource const *indexed_;
};

} // namespace Ostrel
