// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/UnitNames.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// What is wrong with a text, and what to write instead.
struct ValueFault {
  std::string what, instead;
};

/// Compares a text with what the schema says of it.
std::optional<ValueFault> judge_value(std::string const &text, ValueRule const &rule);

/// Looks for a character that cannot be seen and is not read as a blank.
std::optional<ValueFault> judge_characters(std::string const &text);

/// Looks at the text of a setting of which only the name is known, for mistakes that hardly any
/// text has by intention: a quantity whose number or unit is misspelt, or a unit that contradicts
/// the name ("TiltAngle", "Timeout").
///
/// @param is_number  whether other settings of such a name are numbers, so that "0,5" is no pair.
std::optional<ValueFault> judge_unknown_value(std::string const &name, std::string const &text,
                                              bool is_number);

/// The kind of quantity of which the last word of a name speaks; null for most names.
UnitKind const *kind_named_by(std::string const &name);

/// Whether both texts are quantities of one kind, and the first is larger. Not for angles, of which
/// a range may begin above its end.
///
/// @param unit       of numbers without one; may be empty.
/// @param is_number  whether numbers without any unit are quantities as well.
bool is_above(std::string const &first, std::string const &second, std::string const &unit,
              bool is_number);

/// The first of the names that was probably meant by a word, of which letters may be those of
/// another script that look alike; null for none.
std::string const *find_meant(std::string_view word, std::vector<std::string> const &names);

/// "from 0 to 100", "at least 0"; empty without limits.
std::string range_text(ValueRule const &rule);

} // namespace Ostrel::Tool
