// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

namespace Ostrel {

/// The text of a number; longer ones are cut. Internal to the library.
using NumberText = std::array<char, 64>;

NumberText write_number(long value);
NumberText write_number(unsigned long value);
/// Twelve digits after the decimal separator, which is a point in every locale.
NumberText write_number(double value);

/// Reads the number at the beginning of a text, as `strtol`, `strtoul` or `strtod`; 0 if there is
/// none. The decimal separator is a point in every locale.
void read_number(char const *text, long *value);
void read_number(char const *text, unsigned long *value);
void read_number(char const *text, double *value);

} // namespace Ostrel
