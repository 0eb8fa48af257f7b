// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/KeyIndex.hpp"

#include <utility>

namespace Ostrel {

void const *KeyIndex::Children::find(std::string_view name, std::size_t index) const {
  if (name.empty()) {
    return index < all_.size() ? all_[index] : nullptr;
  }
  auto const found = by_name_.find(name);
  return found != by_name_.end() && index < found->second.size() ? found->second[index] : nullptr;
}

KeyIndex::Children const *KeyIndex::find(void const *parent) const {
  auto const found = parents_.find(parent);
  return found == parents_.end() ? nullptr : &found->second;
}

KeyIndex::Children const &KeyIndex::add(void const *parent, Children children) {
  return parents_.emplace(parent, std::move(children)).first->second;
}

} // namespace Ostrel
