// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/NumberText.hpp"

#include "core/base/foundation/Formatting.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace Ostrel {

namespace {

// Of the C library's current locale.
std::string_view decimal_separator() {
  return std::localeconv()->decimal_point;
}

template <class Number> NumberText write(char const *format, Number value) {
  NumberText text{};
  ovra_snprintf(text.data(), static_cast<unsigned int>(text.size()), format, value);
  return text;
}

} // namespace

NumberText write_number(long value) {
  return write("%ld", value);
}

NumberText write_number(unsigned long value) {
  return write("%lu", value);
}

NumberText write_number(double value) {
  NumberText text = write("%.12f", value);
  std::string_view const separator = decimal_separator();
  if (char *found = std::strstr(text.data(), separator.data());
      found != nullptr && separator != ".") {
    *found = '.';
    char const *digits = found + separator.size();
    std::memmove(found + 1, digits, std::strlen(digits) + 1);
  }
  return text;
}

void read_number(char const *text, long *value) {
  *value = std::strtol(text, nullptr, 10);
}

void read_number(char const *text, unsigned long *value) {
  *value = std::strtoul(text, nullptr, 10);
}

void read_number(char const *text, double *value) {
  std::string_view const separator = decimal_separator();
  if (separator == ".") {
    *value = std::strtod(text, nullptr);
    return;
  }
  // The locale's own separator ends the number.
  std::string translated = text;
  translated.resize(std::min(translated.size(), translated.find(separator)));
  if (std::size_t const point = translated.find('.'); point != translated.npos) {
    translated.replace(point, 1, separator);
  }
  *value = std::strtod(translated.c_str(), nullptr);
}

} // namespace Ostrel
