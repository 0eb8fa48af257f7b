// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SettingCache.hpp"

#include <iterator>
#include <new>
#include <utility>

namespace Ostrel {

CachedSetting *SettingCache::find(Query const &query) const {
  auto const found = entries_.find(query);
  return found == entries_.end() ? nullptr : found->second.setting.get();
}

SettingCache::NewEntry SettingCache::prepare(Query const &full_key, CachedSetting setting,
                                             std::size_t count) {
  NewEntry entry = make_entry(full_key, std::make_shared<CachedSetting>(std::move(setting)),
                              /*is_alias=*/false);
  entries_.reserve(entries_.size() + count);
  return entry;
}

CachedSetting *SettingCache::add(NewEntry entry) noexcept {
  auto const added = entries_.insert(std::move(entry));
  CachedSetting &setting = *added.position->second.setting;
  if (!added.inserted) {
    std::swap(setting, *added.node.mapped().setting);
  }
  return &setting;
}

void SettingCache::add_alias(Query const &alias, Query const &full_key) noexcept try {
  auto const known = entries_.find(full_key);
  if (known != entries_.end() && entries_.find(alias) == entries_.end()) {
    entries_.insert(make_entry(alias, known->second.setting, /*is_alias=*/true));
  }
} catch (std::bad_alloc const &) {
  return;
}

void SettingCache::forget_file() noexcept {
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    bool const is_kept = !entry->second.is_alias && entry->second.setting->is_local;
    entry = is_kept ? std::next(entry) : entries_.erase(entry);
  }
}

SettingCache::NewEntry SettingCache::make_entry(Query const &query,
                                                std::shared_ptr<CachedSetting> setting,
                                                bool is_alias) {
  std::unique_ptr<char[]> key(new char[query.text.size()]);
  query.text.copy(key.get(), query.text.size());
  Query const own(std::string_view(key.get(), query.text.size()), query.hash);
  Entries single;
  auto const entry = single.emplace(own, Entry{std::move(key), std::move(setting), is_alias}).first;
  return single.extract(entry);
}

} // namespace Ostrel
