// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// Whether there is a settings file that the library can read.
enum class SettingsState { AVAILABLE, MISSING, UNREADABLE };

/// Reads the settings in the first call.
SettingsState load_settings();

/// Says why there are no settings: where a file was looked for, or what is wrong with it. Returns
/// the exit status.
int report_unavailable(Output &output, SettingsState state);

/// A setting as it stands in the file.
struct StoredSetting {
  std::string key; ///< The full key, with an index where a key has siblings of its name.
  std::string text;
  std::string file;
  long line = 0; ///< From 1; 0 if it is unknown.
};

/// Reads every setting of the settings file, in its order; empty if it cannot be read.
std::vector<StoredSetting> read_stored_settings();

/// The full keys of the settings in the file, and of those that its schema declares.
std::vector<std::string> known_keys();

/// Whether a full key has the form ROOT/KEY../VALUE.
bool is_well_formed_key(std::string_view key);

/// Finds the full key of a key or '$' and alias. The settings must have been loaded.
///
/// @param status  receives the exit status if there is none, after an error.
std::optional<std::string> resolve_key(Output &output, std::string const &key, int *status);

/// Says that the settings file does not have a key, and which one was probably meant. Returns the
/// exit status.
int report_missing(Output &output, std::string const &full_key);

} // namespace Ostrel::Tool
