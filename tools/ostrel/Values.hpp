// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Schema.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace Ostrel::Tool {

/// What is wrong with a text, and what to write instead.
struct ValueFault {
  std::string what, instead;
};

/// Compares a text with what the schema says of it.
std::optional<ValueFault> judge_value(std::string const &text, ValueRule const &rule);

/// Looks at the text of a setting of which only the name is known, for mistakes that hardly any
/// text has by intention: a number with a comma or with a letter for a digit, a quantity whose unit
/// is misspelt or contradicts the name.
std::optional<ValueFault> judge_unknown_value(std::string const &name, std::string const &text);

/// "from 0 to 100", "at least 0"; empty without limits.
std::string range_text(ValueRule const &rule);

} // namespace Ostrel::Tool
