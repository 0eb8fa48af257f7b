// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace Ostrel::Tool {

/// Returns the shortest text that reads back as that number.
std::string number_text(double number);

/// Rounds to 15 digits, which removes what a conversion adds in the last bits.
double rounded(double number);

/// Reads a text that is wholly a number, with a point in every locale.
bool parse_number(std::string_view text, double *number);

} // namespace Ostrel::Tool
