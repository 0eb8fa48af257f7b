// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Values.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "tools/ostrel/Numbers.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/UnitNames.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Ostrel::Tool {

namespace {

constexpr char const *NO_BREAK_SPACE = "\xC2\xA0";

using Fault = std::optional<ValueFault>;

std::string quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

bool is_decimal(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789+-.eE") == text.npos;
}

bool read_number(std::string_view text, double *number) {
  std::string_view const unsigned_text = starts_with(text, "+") ? text.substr(1) : text;
  return is_decimal(unsigned_text) && parse_number(unsigned_text, number);
}

void replace_all(std::string *text, std::string_view from, std::string_view to) {
  for (std::size_t at = text->find(from); at != text->npos; at = text->find(from, at + to.size())) {
    text->replace(at, from.size(), to);
  }
}

// Replaces characters that are typed for a digit, a point or a minus.
std::string with_digits(std::string_view text) {
  std::string number(text);
  constexpr std::pair<char const *, char const *> REPLACEMENTS[] = {{",", "."},
                                                                    {"O", "0"},
                                                                    {"o", "0"},
                                                                    {"l", "1"},
                                                                    {"I", "1"},
                                                                    {"\xE2\x88\x92", "-"},
                                                                    {"\xE2\x80\x93", "-"},
                                                                    {"'", ""}};
  for (auto const &[from, to] : REPLACEMENTS) {
    replace_all(&number, from, to);
  }
  return number;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The number of characters at the start that are digits, or letters that look like digits and are
// not part of a word.
std::size_t count_digits(std::string_view text) {
  constexpr std::string_view SIMILAR = "OolI";
  std::size_t count = 0;
  while (count < text.size()) {
    std::size_t end = count;
    while (end < text.size() && SIMILAR.find(text[end]) != SIMILAR.npos) {
      ++end;
    }
    if (end > count && (end == text.size() || !is_letter(text[end]))) {
      count = end;
    } else if (is_digit(text[count])) {
      ++count;
    } else {
      break;
    }
  }
  return count;
}

// The number of characters at the start that are a number, rightly or wrongly written.
std::size_t number_length(std::string_view text) {
  std::size_t sign = 0;
  for (std::string_view const minus : {"-", "+", "\xE2\x88\x92", "\xE2\x80\x93"}) {
    sign = starts_with(text, minus) ? minus.size() : sign;
  }
  std::size_t length = sign + count_digits(text.substr(sign));
  std::size_t const is_point =
      length < text.size() && (text[length] == '.' || text[length] == ',') ? 1 : 0;
  length += is_point + count_digits(text.substr(length + is_point));
  std::string_view const rest = text.substr(length);
  if (rest.size() > 1 && (rest[0] == 'e' || rest[0] == 'E')) {
    std::size_t const exponent = rest[1] == '-' || rest[1] == '+' ? 2 : 1;
    std::size_t const end = std::min(rest.find_first_not_of("0123456789", exponent), rest.size());
    length += end > exponent ? end : 0;
  }
  return length;
}

// A text that consists of a number, rightly or wrongly written, and what follows it.
struct Quantity {
  std::string written, number, unit; // the number as in the text, and as it should be
  double value = 0;

  bool is_right() const { return written == number; }
};

std::optional<Quantity> read_quantity(std::string_view text) {
  std::string plain(text);
  replace_all(&plain, NO_BREAK_SPACE, " ");
  std::size_t const length = number_length(plain);
  Quantity quantity{plain.substr(0, length), "", std::string(trimmed(plain.substr(length)))};
  if (std::none_of(quantity.written.begin(), quantity.written.end(), is_digit) ||
      quantity.unit.find_first_of("0123456789.,") != std::string::npos) {
    return std::nullopt;
  }
  quantity.number = quantity.written;
  if (!read_number(quantity.number, &quantity.value)) {
    quantity.number = with_digits(quantity.number);
    if (!read_number(quantity.number, &quantity.value)) {
      return std::nullopt;
    }
  }
  return quantity;
}

// Whether a wrong number was probably meant as a number: a letter for a digit only beside a point
// or several digits, since "O2" and "2O" may be names.
bool is_surely_number(std::string_view written) {
  constexpr std::size_t MANY = 2; // digits in front of a letter
  std::string_view const text = written.substr(written.find_first_of("+-") == 0 ? 1 : 0);
  std::size_t const point = text.find_first_of(".,"), letter = text.find_first_of("Oo");
  if (starts_with(text, "\xE2")) {
    return true; // a typographic minus
  }
  if (point != text.npos) {
    return point > 0 && point + 1 < text.size();
  }
  return letter != text.npos && text.find_first_of("lI") == text.npos && letter > 0 &&
         (letter >= MANY || letter + 1 < text.size());
}

struct OtherUnit {
  char const *name, *unit;
  double factor; // of the unit
};

// Frequent names of units that the library does not know.
constexpr OtherUnit OTHER_UNITS[] = {
    {"metre", "m", 1},         {"metres", "m", 1},
    {"mtr", "m", 1},           {"mtrs", "m", 1},
    {"centimetre", "cm", 1},   {"centimetres", "cm", 1},
    {"millimetre", "mm", 1},   {"millimetres", "mm", 1},
    {"km", "m", 1000},         {"kilometer", "m", 1000},
    {"kilometers", "m", 1000}, {"kilometre", "m", 1000},
    {"kilometres", "m", 1000}, {"dm", "cm", 10},
    {"um", "mm", 0.001},       {"\xC2\xB5m", "mm", 0.001},
    {"yd", "ft", 3},           {"yard", "ft", 3},
    {"yards", "ft", 3},        {"mile", "ft", 5280},
    {"miles", "ft", 5280},     {"fist", "fists", 1},
    {"inchs", "in", 1},        {"ins", "in", 1},
    {"foots", "ft", 1},        {"fts", "ft", 1},
    {"cms", "cm", 1},          {"mms", "mm", 1},
    {"\"", "in", 1},           {"\xC2\xB0", "deg", 1},
    {"degs", "deg", 1},        {"dgr", "deg", 1},
    {"rads", "rad", 1},        {"mrad", "rad", 0.001},
    {"msec", "ms", 1},         {"msecs", "ms", 1},
    {"millis", "ms", 1},       {"milli", "ms", 1},
    {"secs", "s", 1},          {"mins", "min", 1},
    {"hrs", "h", 1},           {"us", "ms", 0.001},
    {"usec", "ms", 0.001},     {"\xC2\xB5s", "ms", 0.001},
    {"ns", "ms", 0.000001},    {"day", "h", 24},
    {"days", "h", 24},
};

// The quantity in a unit that exists and was probably meant; empty if none is near.
std::string with_nearest_unit(Quantity const &quantity) {
  std::string const word = lower(quantity.unit);
  for (OtherUnit const &other : OTHER_UNITS) {
    if (word == other.name) {
      return number_text(rounded(quantity.value * other.factor)) + " " + other.unit;
    }
  }
  std::string const *nearest = nullptr;
  std::vector<std::string> const units = all_units();
  for (std::string const &unit : units) {
    if (lower(unit) == word || (nearest == nullptr && is_misspelling(word, unit))) {
      nearest = &unit;
    }
  }
  return nearest == nullptr ? "" : quantity.number + " " + *nearest;
}

UnitKind const &kind_of(ValueRule const &rule) {
  return *std::find_if(unit_kinds().begin(), unit_kinds().end(),
                       [&rule](UnitKind const &kind) { return kind.type == rule.kind; });
}

// What a right value looks like.
std::string expected(ValueRule const &rule) {
  std::string const number = rule.form == ValueRule::WHOLE_NUMBER ? "a whole number" : "a number";
  std::string const range = range_text(rule);
  std::string const unit = rule.unit.empty() ? "" : " of " + rule.unit;
  return "write " + number + unit + (range.empty() ? "" : " " + range) +
         (rule.has_kind && rule.allows_text
              ? ", or a number and a unit: " + listed({"'1 " + rule.unit + "'"})
              : "");
}

bool is_outside(double value, ValueRule const &rule) {
  double limit = 0;
  bool const is_below =
      read_number(rule.minimum, &limit) && (rule.excludes_minimum ? value <= limit : value < limit);
  return is_below || (read_number(rule.maximum, &limit) &&
                      (rule.excludes_maximum ? value >= limit : value > limit));
}

Fault judge_range(std::string const &text, double value, ValueRule const &rule) {
  if (!is_outside(value, rule)) {
    return std::nullopt;
  }
  return ValueFault{quoted(text) + " is out of range", expected(rule)};
}

// What to write for a number with something behind it that does not belong there.
std::string without_unit(Quantity const &quantity, ValueRule const &rule) {
  constexpr double PER_CENT = 100;
  double const share = quantity.value / PER_CENT;
  if (!is_outside(quantity.value, rule)) {
    return "write " + quantity.number;
  }
  return quantity.unit == "%" && !is_outside(share, rule) ? "write " + number_text(share)
                                                          : expected(rule);
}

// A number with something behind it.
Fault judge_unit(std::string const &text, Quantity const &quantity, ValueRule const &rule) {
  UnitKind const *const kind = find_kind_of(quantity.unit);
  if (!rule.has_kind) {
    return ValueFault{quoted(text) + " is not a number", without_unit(quantity, rule)};
  }
  if (kind == nullptr) {
    std::string const nearest = with_nearest_unit(quantity);
    return ValueFault{quoted(quantity.unit) + " is not a unit",
                      "write " + (nearest.empty() ? "a unit of " + kind_of(rule).name + ": " +
                                                        listed(kind_of(rule).units)
                                                  : nearest)};
  }
  if (kind->type != rule.kind) {
    return ValueFault{quoted(text) + " has a unit of " + kind->name +
                          ", but the setting is a value of " + kind_of(rule).name,
                      expected(rule)};
  }
  double value = 0;
  if (Units::convert_units(rule.kind, quantity.unit, quantity.value, rule.unit, &value) !=
      RESULT_SUCCESS) {
    return std::nullopt; // the schema has no unit
  }
  if (!rule.allows_text) {
    return ValueFault{quoted(text) + " has a unit, but the setting is a number of " + rule.unit,
                      "write " + number_text(rounded(value))};
  }
  return judge_range(text, value, rule);
}

Fault judge_number(std::string const &text, ValueRule const &rule) {
  std::string_view const plain = trimmed(text);
  std::optional<Quantity> const quantity = read_quantity(plain);
  if (!quantity) {
    return ValueFault{quoted(text) + " is not a number", expected(rule)};
  }
  if (!quantity->is_right()) {
    return ValueFault{quoted(text) + " is not a number",
                      "write " + quantity->number +
                          (quantity->unit.empty() ? "" : " " + quantity->unit)};
  }
  if (plain != text) {
    return ValueFault{quoted(text) + " has blanks around it", "write " + std::string(plain)};
  }
  if (!quantity->unit.empty()) {
    return judge_unit(text, *quantity, rule);
  }
  if (rule.form == ValueRule::WHOLE_NUMBER && text.find_first_of(".eE") != text.npos) {
    bool const is_whole = quantity->value == std::floor(quantity->value);
    return ValueFault{quoted(text) + " is not a whole number",
                      is_whole ? "write " + number_text(quantity->value) : expected(rule)};
  }
  return judge_range(text, quantity->value, rule);
}

Fault judge_truth(std::string const &text) {
  constexpr std::string_view TRUE_WORDS[] = {"true", "yes", "1"},
                             FALSE_WORDS[] = {"false", "no", "0"};
  constexpr std::string_view LIKE_TRUE[] = {"on", "enabled", "enable", "y", "t"};
  constexpr std::string_view LIKE_FALSE[] = {"off", "disabled", "disable", "n", "f"};
  auto const is_one_of = [](auto const &words, std::string_view word) {
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
  };
  std::string const word = lower(trimmed(text));
  bool const is_true = is_one_of(TRUE_WORDS, word), is_false = is_one_of(FALSE_WORDS, word);
  if ((is_true || is_false) && trimmed(text) == text) {
    return std::nullopt;
  }
  bool const means_true = is_true || is_one_of(LIKE_TRUE, word) || is_misspelling(word, "true");
  bool const means_false = is_false || is_one_of(LIKE_FALSE, word) || is_misspelling(word, "false");
  return ValueFault{quoted(text) + " is neither true nor false", means_true ? "write true"
                                                                 : means_false
                                                                     ? "write false"
                                                                     : "write true or false"};
}

Fault judge_choice(std::string const &text, ValueRule const &rule) {
  if (std::find(rule.choices.begin(), rule.choices.end(), text) != rule.choices.end()) {
    return std::nullopt;
  }
  for (std::string const &choice : rule.choices) {
    if (trimmed(text) == choice || is_misspelling(trimmed(text), choice)) {
      return ValueFault{quoted(text) + " is not one of the choices", "write " + choice};
    }
  }
  if (rule.allows_text) {
    return std::nullopt;
  }
  return ValueFault{quoted(text) + " is not one of the choices", "write " + listed(rule.choices)};
}

// Last words of names that say what kind a quantity is of.
struct KindWord {
  char const *word;
  UnitType kind;
};
constexpr KindWord KIND_WORDS[] = {
    {"distance", UNIT_TYPE_DISTANCE}, {"length", UNIT_TYPE_DISTANCE},
    {"width", UNIT_TYPE_DISTANCE},    {"height", UNIT_TYPE_DISTANCE},
    {"radius", UNIT_TYPE_DISTANCE},   {"diameter", UNIT_TYPE_DISTANCE},
    {"angle", UNIT_TYPE_ANGLE},       {"heading", UNIT_TYPE_ANGLE},
    {"bearing", UNIT_TYPE_ANGLE},     {"yaw", UNIT_TYPE_ANGLE},
    {"tilt", UNIT_TYPE_ANGLE},        {"timeout", UNIT_TYPE_TIME},
    {"delay", UNIT_TYPE_TIME},        {"interval", UNIT_TYPE_TIME},
    {"duration", UNIT_TYPE_TIME},     {"period", UNIT_TYPE_TIME}};

// Last words of names whose values are texts or pairs: "10O" and "3,4" are right there.
constexpr std::string_view TEXT_WORDS[] = {
    "id",    "code", "name", "serial",   "part",   "key",   "version", "model",      "type",
    "label", "size", "grid", "position", "origin", "point", "pair",    "resolution", "center"};

bool names_text(std::string const &name) {
  std::string const word = name.empty() ? "" : words_of(name).back();
  bool const is_plural = word.size() > 1 && word.back() == 's';
  return is_plural ||
         std::find(std::begin(TEXT_WORDS), std::end(TEXT_WORDS), word) != std::end(TEXT_WORDS);
}

Fault judge_kind(std::string const &name, std::string const &text, Quantity const &quantity) {
  std::string const word = name.empty() ? "" : words_of(name).back();
  UnitKind const *const kind = find_kind_of(quantity.unit);
  for (KindWord const &known : KIND_WORDS) {
    if (word == known.word && kind != nullptr && kind->type != known.kind) {
      bool const means_minutes = known.kind == UNIT_TYPE_TIME && quantity.unit == "m";
      ValueRule rule;
      rule.kind = known.kind;
      return ValueFault{quoted(text) + " has a unit of " + kind->name,
                        means_minutes ? "write " + quantity.number + " min"
                                      : "write a unit of " + kind_of(rule).name + ": " +
                                            listed(kind_of(rule).units)};
    }
  }
  return std::nullopt;
}

} // namespace

std::string range_text(ValueRule const &rule) {
  std::string const low = (rule.excludes_minimum ? "more than " : "") + rule.minimum;
  std::string const high = (rule.excludes_maximum ? "less than " : "") + rule.maximum;
  if (!rule.minimum.empty() && !rule.maximum.empty()) {
    return "from " + low + " to " + high;
  }
  if (!rule.minimum.empty()) {
    return rule.excludes_minimum ? low : "at least " + low;
  }
  return rule.maximum.empty() || rule.excludes_maximum ? (rule.maximum.empty() ? "" : high)
                                                       : "at most " + high;
}

Fault judge_value(std::string const &text, ValueRule const &rule) {
  if (!rule.choices.empty()) {
    return judge_choice(text, rule);
  }
  switch (rule.form) {
  case ValueRule::NUMBER:
  case ValueRule::WHOLE_NUMBER:
    return rule.allows_text && !rule.has_kind ? std::nullopt : judge_number(text, rule);
  case ValueRule::TRUTH:
    return judge_truth(text);
  case ValueRule::TEXT:
    break;
  }
  return std::nullopt;
}

Fault judge_unknown_value(std::string const &name, std::string const &text) {
  std::string const plain(trimmed(text));
  std::optional<Quantity> const quantity = read_quantity(plain);
  if (!quantity) {
    for (std::string const word : {"true", "false"}) {
      if (plain.size() == word.size() && is_misspelling(plain, word) &&
          std::is_permutation(plain.begin(), plain.end(), word.begin())) {
        return ValueFault{quoted(text) + " is neither true nor false", "write " + word};
      }
    }
    return std::nullopt;
  }
  std::string const nearest = with_nearest_unit(*quantity);
  std::string const unit = quantity->unit.empty() ? "" : " " + quantity->unit;
  bool const has_unit = !unit.empty() && find_kind_of(quantity->unit) != nullptr;
  if (!quantity->is_right() && !names_text(name) && is_surely_number(quantity->written) &&
      (unit.empty() || has_unit)) {
    return ValueFault{quoted(text) + " is not a number", "write " + quantity->number + unit};
  }
  // A battery "4S" has four cells, not seconds.
  bool const may_be_sign =
      quantity->unit.size() == 1 && quantity->number.find('.') == std::string::npos;
  if (!unit.empty() && !has_unit && !may_be_sign && !nearest.empty()) {
    return ValueFault{quoted(quantity->unit) + " is not a unit", "write " + nearest};
  }
  if (has_unit && plain.find(NO_BREAK_SPACE) != plain.npos) {
    return ValueFault{quoted(text) + " has a special blank", "write " + quantity->number + unit};
  }
  if (quantity->is_right() && plain != text && (unit.empty() || has_unit)) {
    return ValueFault{quoted(text) + " has blanks around it", "write " + plain};
  }
  return judge_kind(name, text, *quantity);
}

} // namespace Ostrel::Tool
