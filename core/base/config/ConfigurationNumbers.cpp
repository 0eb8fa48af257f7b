// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/Configuration.hpp"

#include "core/base/config/SourceLookUp.hpp"
#include "core/base/config/StrictValue.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

// Values that are numbers, or series of them.
namespace Ostrel {

namespace {

ClassCategory category("Ostrel.Core.Base.Configuration");

// The text of a number; longer ones are cut.
using NumberText = std::array<char, 64>;

// Of the C library's current locale.
std::string_view decimal_separator() {
  return std::localeconv()->decimal_point;
}

template <class Number> NumberText write(char const *format, Number value) {
  NumberText text{};
  ovra_snprintf(text.data(), static_cast<unsigned int>(text.size()), format, value);
  return text;
}

NumberText write_number(long value) {
  return write("%ld", value);
}

NumberText write_number(unsigned long value) {
  return write("%lu", value);
}

// Twelve digits after the decimal separator, which is a point in every locale.
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

// The decimal separator is a point in every locale.
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

// Reads the value at a place (a path, or a key and a sub path, and a name) as a number.
template <class Number, class... Place>
unsigned long get_number(Configuration const &configuration, Number *out, Place... place) try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string text;
  unsigned long const result = configuration.get_value(place..., &text);
  if (result == RESULT_SUCCESS) {
    read_number(text.c_str(), out);
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

// The file and the line of a key, as far as they are known.
std::string place_of(IConfigSource const &source, void const *key) {
  XmlConfigSource const *const indexed = SourceLookUp(source).indexed();
  std::string file;
  long line = 0;
  if (indexed == nullptr || indexed->get_location(key, &file, &line) != RESULT_SUCCESS) {
    return "unknown file";
  }
  return text_of_place(file, line);
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Skips what separates the numbers of a series; a '-' that no digit follows is a separator.
char const *skip_series_separators(char const *text) {
  while (*text != '\0' && *text != ':' && !is_digit(*text) &&
         !(*text == '-' && is_digit(text[1]))) {
    ++text;
  }
  return text;
}

char const *skip_to_first_number(char const *text) {
  text = skip_series_separators(text);
  while (*text == ':') {
    text = skip_series_separators(text + 1);
  }
  return text;
}

} // namespace

unsigned long Configuration::get_value(char const *path, char const *name, double *out) const {
  return get_number(*this, out, path, name);
}

unsigned long Configuration::get_value(char const *path, char const *name, long *out) const {
  return get_number(*this, out, path, name);
}

unsigned long Configuration::get_value(char const *path, char const *name,
                                       unsigned long *out) const {
  return get_number(*this, out, path, name);
}

unsigned long Configuration::get_value(void const *key, char const *sub_path, char const *name,
                                       double *out) const {
  return get_number(*this, out, key, sub_path, name);
}

unsigned long Configuration::get_value(void const *key, char const *sub_path, char const *name,
                                       long *out) const {
  return get_number(*this, out, key, sub_path, name);
}

unsigned long Configuration::get_value(void const *key, char const *sub_path, char const *name,
                                       unsigned long *out) const {
  return get_number(*this, out, key, sub_path, name);
}

unsigned long Configuration::get_quantity(char const *path, char const *name, UnitType type,
                                          double *out) const {
  return get_quantity(nullptr, path, name, type, out);
}

unsigned long Configuration::get_quantity(void const *key, char const *sub_path, char const *name,
                                          UnitType type, double *out) const try {
  if (out == nullptr || !is_known_kind(type)) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string text;
  unsigned long const result = get_value(key, sub_path, name, &text);
  if (result != RESULT_SUCCESS) {
    return result;
  }
  std::string const fault = read_quantity(text, type, out);
  if (fault.empty()) {
    return RESULT_SUCCESS;
  }
  std::string key_name(sub_path == nullptr ? "" : sub_path);
  if (key_name.empty() && key != nullptr) {
    source_->get_key_name(key, &key_name);
  }
  category().warn("%s/%s: '%s' %s (%s)", key_name.c_str(), name == nullptr ? "" : name,
                  text.c_str(), fault.c_str(), place_of(*source_, find_key(key, sub_path)).c_str());
  return RESULT_INVALID_TYPE;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::set_value(char const *path, char const *name, double value,
                                       bool commit) {
  return set_value(path, name, write_number(value).data(), commit);
}

unsigned long Configuration::set_value(char const *path, char const *name, long value,
                                       bool commit) {
  return set_value(path, name, write_number(value).data(), commit);
}

unsigned long Configuration::set_value(char const *path, char const *name, unsigned long value,
                                       bool commit) {
  return set_value(path, name, write_number(value).data(), commit);
}

unsigned long Configuration::set_value(void const *key, char const *sub_path, char const *name,
                                       double value, bool commit) {
  return set_value(key, sub_path, name, write_number(value).data(), commit);
}

unsigned long Configuration::set_value(void const *key, char const *sub_path, char const *name,
                                       long value, bool commit) {
  return set_value(key, sub_path, name, write_number(value).data(), commit);
}

unsigned long Configuration::set_value(void const *key, char const *sub_path, char const *name,
                                       unsigned long value, bool commit) {
  return set_value(key, sub_path, name, write_number(value).data(), commit);
}

unsigned long Configuration::parse_long_series(char const *text, long *array,
                                               unsigned int *count) const {
  if (text == nullptr || array == nullptr || count == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  unsigned int const capacity = *count;
  unsigned int stored = 0;
  long range_start = 0;
  bool is_in_range = false;
  char const *rest = skip_to_first_number(text);
  while (*rest != '\0' && stored < capacity) {
    char *end = nullptr;
    long const last = std::strtol(rest, &end, 10); // 0 at the second of two ':'
    rest = skip_series_separators(end);
    if (*rest == ':') {
      rest = skip_series_separators(rest + 1);
      range_start = last;
      is_in_range = true;
      continue;
    }
    long number = is_in_range ? range_start : last;
    is_in_range = false;
    array[stored++] = number;
    while (number != last && stored < capacity) {
      number += number < last ? 1 : -1;
      array[stored++] = number;
    }
  }
  *count = stored;
  return RESULT_SUCCESS;
}

} // namespace Ostrel
