// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/Formatting.h"

#include <deque>
#include <string>

namespace Ostrel {

/// Trimming and splitting of 8-bit texts, by one character or by a class of characters.
///
/// All functions may be called from any thread at any time. A null text is an empty one; with a
/// null `out` nothing happens.
namespace StringUtils {

/// The classes of the C library's `isalnum` to `isxdigit`, in the current locale. Any other value
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

/// Takes the delimiter off both ends and leaves one of each run of them inside.
///
/// @param out  replaced by the result; empty without memory.
OSTBASE_API void trim(char const *text, char delimiter, std::string *out);

/// The same for characters of a class: of each run inside, its first character stays.
OSTBASE_API void trim(char const *text, CharacterClass character_class, std::string *out);

/// Cuts the text at every delimiter, so that k delimiters give k + 1 fields, be they empty.
///
/// @param out  the fields are appended to what it holds; without memory it is left as it was.
OSTBASE_API void split(char const *text, char delimiter, std::deque<std::string> *out);

/// The same at every character of a class.
OSTBASE_API void split(char const *text, CharacterClass character_class,
                       std::deque<std::string> *out);

} // namespace StringUtils

} // namespace Ostrel
