// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SettingCache.hpp"

#include <new>
#include <utility>

namespace Ostrel {

std::string const *SettingCache::find(Query const &query) const {
  auto const found = entries_.find(query);
  return found == entries_.end() ? nullptr : found->second.text.get();
}

SettingCache::NewEntry SettingCache::prepare(Query const &full_key, std::string text) {
  NewEntry entry = make_entry(full_key, std::make_shared<std::string>(std::move(text)));
  entries_.reserve(entries_.size() + 1);
  return entry;
}

std::string const *SettingCache::add(NewEntry entry) noexcept {
  auto const added = entries_.insert(std::move(entry));
  std::string &text = *added.position->second.text;
  if (!added.inserted) {
    text.swap(*added.node.mapped().text);
  }
  return &text;
}

void SettingCache::add_alias(Query const &alias, Query const &full_key) noexcept try {
  auto const known = entries_.find(full_key);
  if (known != entries_.end() && entries_.find(alias) == entries_.end()) {
    entries_.insert(make_entry(alias, known->second.text));
  }
} catch (std::bad_alloc const &) {
  return;
}

SettingCache::NewEntry SettingCache::make_entry(Query const &query,
                                                std::shared_ptr<std::string> text) {
  std::unique_ptr<char[]> key(new char[query.text.size()]);
  query.text.copy(key.get(), query.text.size());
  Query const own(std::string_view(key.get(), query.text.size()), query.hash);
  Entries single;
  auto const entry = single.emplace(own, Entry{std::move(key), std::move(text)}).first;
  return single.extract(entry);
}

} // namespace Ostrel
