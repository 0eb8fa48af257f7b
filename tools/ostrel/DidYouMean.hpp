// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// Finds the name that was probably meant: the one with the fewest characters to insert, remove,
/// replace or swap with their neighbour, ignoring case. Of paths only what follows the components
/// that both begin with counts; the end of a path is near.
///
/// @return a pointer into `names`; null if none is near, that is within a third of its length;
/// never the typed
///         name itself, nor one with other digits.
std::string const *find_nearest(std::string_view typed, std::vector<std::string> const &names);

/// Returns "; did you mean 'NAME'?" for the nearest name; the empty text if none is near.
std::string did_you_mean(std::string_view typed, std::vector<std::string> const &names);

} // namespace Ostrel::Tool
