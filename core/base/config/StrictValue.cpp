// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/StrictValue.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/units/Units.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

namespace Ostrel {

namespace {

struct Kind {
  UnitType type;
  char const *name;
};

constexpr Kind KINDS[] = {
    {UNIT_TYPE_DISTANCE, "a distance"}, {UNIT_TYPE_ANGLE, "an angle"}, {UNIT_TYPE_TIME, "a time"}};

constexpr char OUT_OF_RANGE[] = "is out of range";

std::string name_of(UnitType type) {
  for (Kind const &kind : KINDS) {
    if (kind.type == type) {
      return kind.name;
    }
  }
  return "";
}

// Reads the number at the start of a text, which may have a plus sign. Removes it from the text.
template <class Number> std::errc read_number(std::string_view *text, Number *value) {
  std::string_view rest = *text;
  bool const has_plus = rest.size() > 1 && rest[0] == '+' && rest[1] != '-';
  rest.remove_prefix(has_plus ? 1 : 0);
  auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), *value);
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  *text = rest;
  return error;
}

template <class Number>
std::string read_whole(std::string_view text, char const *fault, Number *value) {
  Number read = 0;
  std::errc const error = read_number(&text, &read);
  if (error == std::errc::invalid_argument || !text.empty()) {
    return fault;
  }
  if (error != std::errc()) {
    return OUT_OF_RANGE;
  }
  *value = read;
  return "";
}

bool is_same_word(std::string_view text, std::string_view word) {
  bool is_same = text.size() == word.size();
  for (std::size_t i = 0; is_same && i < word.size(); ++i) {
    char const c = text[i];
    is_same = (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c) == word[i];
  }
  return is_same;
}

} // namespace

std::string read_strictly(std::string_view text, double *value) {
  constexpr char FAULT[] = "is not a number";
  double read = 0;
  std::string fault = read_whole(text, FAULT, &read);
  if (fault.empty() && !std::isfinite(read)) { // the words for infinity and for no number
    fault = FAULT;
  }
  if (fault.empty()) {
    *value = read;
  }
  return fault;
}

std::string read_strictly(std::string_view text, long *value) {
  return read_whole(text, "is not a whole number", value);
}

std::string read_strictly(std::string_view text, unsigned long *value) {
  return read_whole(text, "is not a whole number from 0 on", value);
}

std::string read_strictly(std::string_view text, bool *value) {
  for (char const *word : {"true", "1", "yes", "false", "0", "no"}) {
    if (is_same_word(text, word)) {
      *value = *word == 't' || *word == '1' || *word == 'y';
      return "";
    }
  }
  return "is not true or false";
}

std::string read_quantity(std::string_view text, UnitType type, double *value) {
  std::string_view unit = text;
  double number = 0;
  std::errc const error = read_number(&unit, &number);
  if (error == std::errc::invalid_argument || !std::isfinite(number)) {
    return "is not " + name_of(type);
  }
  if (error != std::errc()) {
    return OUT_OF_RANGE;
  }
  if (unit.empty()) {
    *value = number;
    return "";
  }
  unit.remove_prefix(std::min(unit.find_first_not_of(" \t"), unit.size()));
  std::string const name(unit);
  if (!Units::are_valid_units(type, name)) {
    for (Kind const &kind : KINDS) {
      if (Units::are_valid_units(kind.type, name)) {
        return "is " + std::string(kind.name) + ", not " + name_of(type);
      }
    }
    return "is not " + name_of(type) + ": there is no unit '" + name + "'";
  }
  double converted = 0;
  Units::convert_to_default_units(type, name, number, &converted);
  if (!std::isfinite(converted)) {
    return OUT_OF_RANGE;
  }
  *value = converted;
  return "";
}

std::string text_of_place(std::string const &file, long line) {
  return line == 0 ? file : file + ":" + std::to_string(line);
}

bool is_known_kind(UnitType type) noexcept {
  return type >= UNIT_TYPE_DISTANCE && type <= UNIT_TYPE_TIME;
}

} // namespace Ostrel
