// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/SettingExplanation.hpp"
#include "core/base/platform/SearchPathElement.hpp"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace Ostrel::Tool {

/// Returns "FILE:LINE", or the file alone if the line is unknown.
std::string place_text(std::string const &file, long line);

/// Returns what supplied a place: "environment OSTREL_CONFIG_PATH", "built in".
std::string origin_text(SettingPlace::Origin origin, std::string const &name);
std::string origin_text(SearchPathElement const &element);

/// Returns where an alias is declared: "FILE:LINE" or "built in".
std::string origin_text(SettingAlias const &alias);

/// Returns the word for JSON.
std::string name_of(SettingPlace::Origin origin);
std::string name_of(SettingPlace::State state);
std::string name_of(SearchPathElement::Origin origin);

nlohmann::json alias_json(SettingAlias const &alias);

} // namespace Ostrel::Tool
