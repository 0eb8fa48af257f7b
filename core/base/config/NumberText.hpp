// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

namespace Ostrel {

/// The text of a number; longer ones are cut. Internal to the library.
using NumberText = std::array<char, 64>;

NumberText write_number(long value);
NumberText write_number(unsigned long value);
/// Twelve digits after the point, which is a point in every locale.
NumberText write_number(double value);

/// The number at the beginning of a text, as `strtol` and its kin read it; 0 when there is none.
/// In every locale the decimal separator is a point.
void read_number(char const *text, long *value);
void read_number(char const *text, unsigned long *value);
void read_number(char const *text, double *value);

} // namespace Ostrel
