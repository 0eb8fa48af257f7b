// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// In lower case, ASCII only.
std::string lower(std::string_view text);

/// Without blanks, tabs and line ends at both ends.
std::string_view trimmed(std::string_view text);

bool starts_with(std::string_view text, std::string_view start);
bool ends_with(std::string_view text, std::string_view end);

/// Splits at every separator: k separators make k + 1 parts, which may be empty.
std::vector<std::string> split(std::string_view text, char separator);

/// The words of a name such as MaximumRange, in lower case.
std::vector<std::string> words_of(std::string_view name);

/// The letters and digits of a name, in lower case: misspelt names mostly differ in the others.
std::string letters_of(std::string_view name);

/// The digits of a text, in their order.
std::string digits_of(std::string_view text);

/// "a, b or c"
std::string listed(std::vector<std::string> const &words);

/// Whether a word was probably meant to be the name: it differs in case only, or in one character
/// that is missing, added, replaced or swapped with its neighbour (in two, if the name has at least
/// eight). Names that differ in a digit, and the name itself, are no misspellings.
bool is_misspelling(std::string_view word, std::string_view name);

/// Whether each part of a word is the start of a part of the name: "MaxRange" for "MaximumRange".
bool is_abbreviation(std::string_view word, std::string_view name);

/// The first of the names of which the word is an abbreviation, or a misspelling in each of its
/// words (so "MinimumRange" is none of "MaximumRange") other than a plural; null for none.
std::string const *find_misspelt(std::string_view word, std::vector<std::string> const &names);

/// The number of characters to insert, remove, replace or swap with their neighbour; the larger
/// length for texts of more than 256 characters.
std::size_t edit_distance(std::string_view from, std::string_view to);

} // namespace Ostrel::Tool
