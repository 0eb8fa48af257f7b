// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Numbers.hpp"

#include <charconv>
#include <system_error>

namespace Ostrel::Tool {

namespace {

constexpr std::size_t LONGEST_NUMBER = 32; // characters of the shortest text of a double

} // namespace

std::string number_text(double number) {
  char text[LONGEST_NUMBER];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

double rounded(double number) {
  constexpr int DIGITS = 15; // any text of so many digits survives as a double
  char text[LONGEST_NUMBER];
  auto const end =
      std::to_chars(text, text + sizeof text, number, std::chars_format::general, DIGITS).ptr;
  std::from_chars(text, end, number);
  return number;
}

bool parse_number(std::string_view text, double *number) {
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
  return error == std::errc() && end == text.data() + text.size();
}

} // namespace Ostrel::Tool
