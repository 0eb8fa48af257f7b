// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace Ostrel {

enum UnitType : int;

// Texts that are wholly a value, without blanks around it, independent of the locale. Internal to
// the library.
//
// Each returns what is wrong with the text, as the rest of a sentence that begins with it ("is not
// a number"), or the empty text; then `value` has the value, else it is untouched. All throw
// std::bad_alloc without memory.

std::string read_strictly(std::string_view text, double *value);
std::string read_strictly(std::string_view text, long *value);
std::string read_strictly(std::string_view text, unsigned long *value);
std::string read_strictly(std::string_view text, bool *value);

/// A number and a unit of that kind, in the default unit; or a number alone, which is in it.
/// @param type  a known kind.
std::string read_quantity(std::string_view text, UnitType type, double *value);

/// "file:line"; the file alone if the line is 0.
std::string text_of_place(std::string const &file, long line);

bool is_known_kind(UnitType type) noexcept;

} // namespace Ostrel
