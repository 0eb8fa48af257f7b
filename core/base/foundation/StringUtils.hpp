// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/Formatting.h"

#include <deque>
#include <string>

namespace Ostrel {

/// Trimming and splitting of 8-bit texts, by one character or by a class of characters.
///
/// All functions may be called from any thread at any time. A null text is an empty one. If `out`
/// is null, the functions do nothing.
namespace StringUtils {

/// The classes of the C functions `isalnum` to `isxdigit`, in the current locale. Any other value
/// is a class without members.
enum CharacterClass : int {
  ALNUM = 0,
  ALPHA = 1,
  CNTRL = 2,
  DIGIT = 3,
  GRAPH = 4,
  LOWER = 5,
  PRINT = 6,
  PUNCT = 7,
  SPACE = 8,
  UPPER = 9,
  XDIGIT = 10
};

/// Removes the delimiter from both ends and reduces each run of it inside to one.
///
/// @param out  receives the result; empty if out of memory.
OSTBASE_API void trim(char const *text, char delimiter, std::string *out);

/// The same for the characters of a class: each run inside is reduced to its first character.
OSTBASE_API void trim(char const *text, CharacterClass character_class, std::string *out);

/// Splits the text at every delimiter: k delimiters make k + 1 fields, which may be empty.
///
/// @param out  the fields are appended to it; unchanged if out of memory.
OSTBASE_API void split(char const *text, char delimiter, std::deque<std::string> *out);

/// The same at every character of a class.
OSTBASE_API void split(char const *text, CharacterClass character_class,
                       std::deque<std::string> *out);

} // namespace StringUtils

} // namespace Ostrel
