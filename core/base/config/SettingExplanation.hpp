// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Ostrel {

/// An alias of user settings, and where it comes from.
struct SettingAlias {
  std::string name; ///< Without the '$'.
  std::string key;  ///< The full key for which it stands.
  std::string file; ///< The settings file that declares it; empty if it is built in.
  long line = 0;    ///< In the file, from 1; 0 if it is unknown.
};

/// A place where the settings file was searched.
struct SettingPlace {
  /// Which part of the search path names the place.
  enum Origin : int {
    ORIGIN_ENVIRONMENT,      ///< The environment variable `origin_name`.
    ORIGIN_REGISTRY,         ///< The registry value `origin_name`.
    ORIGIN_BUILT_IN,         ///< A default that was set when the library was built.
    ORIGIN_CURRENT_DIRECTORY ///< Searched last, always.
  };

  /// What the place holds.
  enum State : int {
    STATE_NO_FILE,    ///< No file.
    STATE_UNREADABLE, ///< A file that cannot be opened: the search goes on.
    STATE_LOADED,     ///< The file from which this process has its settings.
    STATE_SHADOWED,   ///< A file that is not read, because of one in an earlier place.
    STATE_NOT_LOADED  ///< A file that would be read now, but was not when this process loaded its
                      ///< settings: it has appeared since, or did not parse.
  };

  std::string directory; ///< As the search path has it.
  Origin origin = ORIGIN_BUILT_IN;
  std::string origin_name; ///< Empty for a place without one.
  std::string file;        ///< The path that was tried.
  State state = STATE_NO_FILE;
  std::string fault;      ///< Why the file is not readable, does not parse, or is not read for this
                          ///< explanation (a pipe or a device); else empty.
  bool has_value = false; ///< Whether the file has the setting.
  std::string value;      ///< The text in that file.
  long line = 0;          ///< Of the key in the file, from 1; 0 if it is unknown.
};

/// Why a user setting has its value.
struct SettingExplanation {
  /// From where this process has the value.
  enum Source : int {
    SOURCE_NONE,   ///< The setting does not exist, or there is no settings file.
    SOURCE_FILE,   ///< From the settings file.
    SOURCE_PROCESS ///< Set, or removed, in this process without commit.
  };

  std::string key; ///< The full key.
  /// The declarations of the alias by which the setting was named, in the order in which each
  /// replaces the one before; empty for a full key.
  std::vector<SettingAlias> aliases;
  std::vector<SettingPlace> places; ///< In the order of the search.
  Source source = SOURCE_NONE;
  bool is_set = false;
  std::string value;
  std::string file; ///< That has the value; empty for none.
  long line = 0;    ///< Of the key in the file, from 1; 0 if it is unknown.
};

} // namespace Ostrel
