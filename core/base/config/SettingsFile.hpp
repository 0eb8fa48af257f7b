// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel {

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
  bool may_be_missing = false;     // the removal of a setting that the file does not have succeeds
};

/// The settings file of the process: its document, and commits that keep the changes of other
/// processes. It stays the same file after a change of the current directory. Internal to the
/// library.
///
/// Not synchronised. Functions without `noexcept` throw std::bad_alloc without memory.
class SettingsFile {
public:
  /// Loads the file that comes first along the search path.
  /// @return as `XmlConfigSource::init_source`; `RESULT_SYSTEM_ERROR` also if the registry cannot
  ///         be read for a temporary reason.
  unsigned long load();

  /// Whether a document is loaded. The operations below need one.
  bool is_loaded() const noexcept { return source_.main_document_ != nullptr; }

  /// The path under which it was found, as the system takes it.
  std::string path() const;

  /// False if there is no such value.
  bool read(SettingKey const &key, std::string *text) const;
  bool read(void const *key, char const *name, std::string *text) const;

  /// Null for none.
  void const *find_key(char const *path) const { return configuration_.look_up(path); }

  /// The line of the key, from 1; 0 if it is unknown. Null is unknown.
  long line_of(void const *key) const;

  enum class Change { NONE, CHANGED, MISSING };

  /// Looks at the file once: it may have changed since it was loaded, or be missing. A pipe or a
  /// device counts as unchanged. If none is loaded, looks for one in every place.
  Change look_for_change() const;

  /// Makes the changes, all or none, in the present contents of the file, and takes the result as
  /// its document.
  ///
  /// @return `RESULT_SUCCESS`, or with nothing changed `RESULT_FAILURE`, `RESULT_OUT_OF_MEMORY` or
  ///         `RESULT_NOT_FOUND` for a setting to remove.
  unsigned long commit(std::vector<SettingChange> const &changes);

  /// Loads a file that is known, for a look into it. Logs nothing.
  /// @param fault  receives the reason of a failure.
  bool load_from(std::string path, std::string *fault);

private:
  bool is_anywhere() const;
  // These two need the mutex of the sources held.
  bool read_present(std::string target, DocumentRecord *record) const;
  void exchange(std::unique_ptr<DocumentRecord> *record);
  unsigned long apply(std::vector<SettingChange> const &changes);
  unsigned long set(SettingKey const &key, char const *text);
  unsigned long remove(SettingKey const &key) const;

  std::string absolute_path_; // of the file that is loaded
  XmlConfigSource source_;
  Configuration configuration_{source_};
};

} // namespace Ostrel
