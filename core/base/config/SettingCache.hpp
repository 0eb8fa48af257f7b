// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Ostrel {

/// What the process knows of a setting. Internal to the library.
struct CachedSetting {
  std::string text;
  bool is_local = false;    // set or removed without a commit: a reload keeps it
  bool is_removed = false;  // counts as a setting that does not exist
  bool is_reported = false; // a typed read has warned about the text
};

/// The user settings, by full key or by alias with its '$'. An alias shares the setting of its full
/// key. Internal to the library.
///
/// Not synchronised, except the constructor of `Query`.
class SettingCache {
public:
  /// A key, borrowed, with its hash: computed once, before the caller acquires the lock.
  struct Query {
    explicit Query(std::string_view key) : Query(key, std::hash<std::string_view>()(key)) {}
    Query(std::string_view key, std::size_t hash_of_key) : text(key), hash(hash_of_key) {}

    bool operator==(Query const &other) const { return text == other.text; }

    std::string_view text;
    std::size_t hash;
  };

private:
  struct Hash {
    std::size_t operator()(Query const &query) const noexcept { return query.hash; }
  };
  struct Entry {
    std::unique_ptr<char[]> key;            // borrowed by the entry's query
    std::shared_ptr<CachedSetting> setting; // shared by the full key and its aliases
    bool is_alias = false;
  };
  using Entries = std::unordered_map<Query, Entry, Hash>;

public:
  using NewEntry = Entries::node_type;

  /// Returns the setting; null if there is none.
  CachedSetting *find(Query const &query) const;

  /// Allocates an entry, and space for `count` entries, so that `add` cannot fail. Throws
  /// `std::bad_alloc`.
  NewEntry prepare(Query const &full_key, CachedSetting setting, std::size_t count = 1);

  /// Adds the entry, or replaces the setting of its key. Returns the setting.
  CachedSetting *add(NewEntry entry) noexcept;

  /// Adds an alias that shares the setting of its full key. Without memory nothing is added; then
  /// the next look-up of the alias is slower.
  void add_alias(Query const &alias, Query const &full_key) noexcept;

  /// Removes all aliases, and all settings that are not local.
  void forget_file() noexcept;

private:
  static NewEntry make_entry(Query const &query, std::shared_ptr<CachedSetting> setting,
                             bool is_alias);

  Entries entries_;
};

} // namespace Ostrel
