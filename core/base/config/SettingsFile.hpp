// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel {

struct XmlReading;

/// A full key of a user setting, split. Internal to the library.
struct SettingKey {
  std::string path; // of the key
  std::string name; // of its value
};

/// Splits a full key at its last '/'. Nothing, with a warning, for a malformed key, such as the
/// empty one of an unknown alias: with fewer than two '/', two in a row, or one at either end.
/// Throws std::bad_alloc without memory.
std::optional<SettingKey> split_setting_key(std::string_view full_key);

/// A change of one setting. Internal to the library.
struct SettingChange {
  SettingKey key;
  std::optional<std::string> text; // none removes the setting
};

/// The settings file of the process: its document, and commits that keep the changes of other
/// processes. Internal to the library.
///
/// Not synchronised. Functions without `noexcept` throw std::bad_alloc without memory.
class SettingsFile {
public:
  /// Loads the file that comes first along the search path.
  /// @return as `XmlConfigSource::init_source`; `RESULT_SYSTEM_ERROR` also if the registry cannot
  /// be
  ///         read for a temporary reason.
  unsigned long load();

  /// Whether a document is loaded. All operations below need one.
  bool is_loaded() const noexcept { return is_loaded_; }

  /// The path under which it was found, as the system takes it.
  std::string path() const;

  /// False if there is no such value.
  bool read(SettingKey const &key, std::string *text) const;
  bool read(void const *key, char const *name, std::string *text) const;

  /// Null for none.
  void const *find_key(char const *path) const { return configuration_.look_up(path); }

  /// The line of the key, from 1; 0 if it is unknown. Null is unknown.
  long line_of(void const *key) const;

  /// Whether the file is not the one that was loaded or has changed since, or may have.
  bool has_changed() const;

  /// Makes the changes, all or none, in the present contents of the file.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_FAILURE` or `RESULT_OUT_OF_MEMORY`. After a failure a single
  /// text that was
  ///         set stays in this document until the next commit, as after a failed save of any
  ///         source.
  unsigned long commit(std::vector<SettingChange> const &changes);

  /// Takes the document of another file, for a look into it; false if that did not parse.
  bool adopt(XmlReading reading, std::string path);

private:
  unsigned long refresh(bool *is_refreshed);
  unsigned long apply(std::vector<SettingChange> const &changes);
  unsigned long apply(SettingChange const &change);
  unsigned long set(SettingKey const &key, char const *text);
  void remove(SettingKey const &key) const;

  XmlConfigSource source_;
  Configuration configuration_{source_};
  bool is_loaded_ = false;
};

} // namespace Ostrel
