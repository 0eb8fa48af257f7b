// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SourceLookUp.hpp"

#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/config/xml/XmlDocument.hpp"
#include "core/base/foundation/VtableId.hpp"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace Ostrel {

namespace {

// 0 until the first source is constructed. Relaxed: each source stores the same value.
std::atomic<VtableId> indexed_class{0};

// One component of a key path and what follows it.
struct Component {
  std::string_view name; // empty: every sub-key counts
  long index = 0;        // among the sub-keys of that name, from 0
  char const *rest = ""; // the path after the component and its separators
};

Component read_component(char const *path) {
  Component component;
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

void const *walk_to_sub_key(IConfigSource const &source, void const *key, std::string_view name,
                            unsigned int index) {
  std::string found;
  void const *sub_key = source.find_first(key, &found);
  for (; sub_key != nullptr; sub_key = source.find_next(sub_key, &found)) {
    if ((name.empty() || name == found) && index-- == 0) {
      break;
    }
  }
  return sub_key;
}

void const *walk_to_value(IConfigSource const &source, void const *key, char const *name,
                          std::string *text) {
  std::string found_name, found_text;
  void const *value = source.find_first_value(key, &found_name, &found_text);
  while (value != nullptr && name != nullptr && found_name != name) {
    value = source.find_next_value(value, &found_name, &found_text);
  }
  if (value != nullptr) {
    *text = std::move(found_text);
  }
  return value;
}

KeyIndex::SubKeys index_sub_keys(XmlNode const &key) {
  KeyIndex::SubKeys sub_keys;
  std::vector<void const *> &all = sub_keys[""];
  for (XmlNode const *sub_key = first_sub_key(key); sub_key != nullptr;
       sub_key = next_key(*sub_key)) {
    all.push_back(sub_key);
    sub_keys[name_of(*sub_key)].push_back(sub_key);
  }
  return sub_keys;
}

} // namespace

bool KeyIndex::append(void const *key, std::string_view name, void const *sub_key) noexcept try {
  if (auto const known = keys.find(key); known != keys.end()) {
    known->second[""].push_back(sub_key);
    known->second[name].push_back(sub_key);
  }
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

SourceLookUp::SourceLookUp(IConfigSource const &source) noexcept : source_(source) {
  bool const is_indexed = vtable_id(source) == indexed_class.load(std::memory_order_relaxed);
  indexed_ = is_indexed ? static_cast<XmlConfigSource const *>(&source) : nullptr;
}

void SourceLookUp::register_indexed_class(IConfigSource const &source) noexcept {
  indexed_class.store(vtable_id(source), std::memory_order_relaxed);
}

void const *SourceLookUp::find_key(void const *key, char const *path) const {
  if (path == nullptr) {
    return key;
  }
  char const *rest = skip_key_separators(path);
  while (*rest != '\0') {
    Component const component = read_component(rest);
    if (component.index > INT_MAX) {
      return nullptr;
    }
    auto const index = static_cast<unsigned int>(std::max(component.index, 0L));
    key = indexed_ != nullptr ? find_indexed_key(key, component.name, index)
                              : walk_to_sub_key(source_, key, component.name, index);
    if (key == nullptr) {
      return nullptr;
    }
    rest = component.rest;
  }
  return key;
}

void const *SourceLookUp::find_value(void const *key, char const *name, std::string *text) const {
  if (indexed_ == nullptr) {
    return walk_to_value(source_, key, name, text);
  }
  XmlNode const *value = node_of(key); // whose text value it is itself
  if (name != nullptr && *name != '\0') {
    XmlNode const *const element = key_of(key);
    value = element == nullptr ? nullptr : find_named_value(*element, name);
  }
  if (value != nullptr) {
    read_text(*value, text);
  }
  return value;
}

int SourceLookUp::count_indexed_sub_keys(void const *key, char const *name) const noexcept {
  int left = INT_MAX;
  if (indexed_ != nullptr) {
    find_child(*node_of(key), name, &left);
  }
  return INT_MAX - left;
}

// A null key means the place above the top key.
void const *SourceLookUp::find_indexed_key(void const *key, std::string_view name,
                                           unsigned int index) const {
  if (key == nullptr) {
    XmlNode const *const top = node_of(indexed_->top_key());
    bool const matches = top != nullptr && (name.empty() || name == name_of(*top));
    return matches && index == 0 ? top : nullptr;
  }
  if (key_of(key) == nullptr) { // a value has no sub-keys, and may be deleted without a look here
    return nullptr;
  }
  if (indexed_->index_ == nullptr) {
    indexed_->index_ = std::make_unique<KeyIndex>();
  }
  auto &keys = indexed_->index_->keys;
  auto known = keys.find(key);
  if (known == keys.end()) {
    known = keys.emplace(key, index_sub_keys(*node_of(key))).first;
  }
  auto const found = known->second.find(name);
  bool const exists = found != known->second.end() && index < found->second.size();
  return exists ? found->second[index] : nullptr;
}

} // namespace Ostrel
