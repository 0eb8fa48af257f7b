// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Ostrel {

/// Where the sub-keys of a key are, by name and number, so that reading a list by index costs no
/// walk for each item. Internal to the library.
///
/// Made for a parent when it is first searched; dropped as a whole when any key comes or goes. The
/// names are borrowed from the keys.
class KeyIndex {
public:
  class Children {
  public:
    void add(std::string_view name, void const *key) {
      all_.push_back(key);
      by_name_[name].push_back(key);
    }

    /// The `index`-th sub-key of that name, from 0; the empty name counts every sub-key. Null when
    /// there are not that many.
    void const *find(std::string_view name, std::size_t index) const;

  private:
    std::vector<void const *> all_;
    std::unordered_map<std::string_view, std::vector<void const *>> by_name_;
  };

  /// The children of a parent that has been searched before; null otherwise.
  Children const *find(void const *parent) const;

  Children const &add(void const *parent, Children children);

private:
  std::unordered_map<void const *, Children> parents_;
};

} // namespace Ostrel
