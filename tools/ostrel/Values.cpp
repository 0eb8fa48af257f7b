// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Values.hpp"

#include "core/base/config/UserConfig.hpp"
#include "tools/ostrel/Numbers.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Ostrel::Tool {

namespace {

// Characters of a text that look like a blank, or like nothing, and are not read as such.
struct InvisibleCharacter {
  char const *bytes, *name, *instead;
};
constexpr InvisibleCharacter INVISIBLE_CHARACTERS[] = {
    {"\n", "U+000A", " "},           {"\r", "U+000D", " "},
    {"\xC2\xA0", "U+00A0", " "},     {"\xC2\xAD", "U+00AD", ""},
    {"\xE2\x80\x89", "U+2009", " "}, {"\xE2\x80\x8B", "U+200B", ""},
    {"\xE2\x80\x8E", "U+200E", ""},  {"\xE2\x80\xAF", "U+202F", " "},
    {"\xE2\x81\xA0", "U+2060", ""},  {"\xE3\x80\x80", "U+3000", " "},
    {"\xEF\xBB\xBF", "U+FEFF", ""}};

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

std::string without_invisible(std::string text) {
  for (InvisibleCharacter const &character : INVISIBLE_CHARACTERS) {
    replace_all(&text, character.bytes, character.instead);
  }
  return std::string(trimmed(text));
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

// Whether a comma in a number may stand between thousands, as well as for the point.
bool may_be_thousands(std::string_view number) {
  constexpr std::size_t GROUP = 4; // characters with the comma
  std::size_t const comma = number.find(',');
  return comma != number.npos && comma > 0 && number[0] != '0' && number.size() == comma + GROUP;
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
  std::string text() const { return unit.empty() ? number : number + " " + unit; }
};

std::optional<Quantity> read_quantity(std::string_view text) {
  std::size_t const length = number_length(text);
  Quantity quantity{std::string(text.substr(0, length)), "",
                    std::string(trimmed(text.substr(length)))};
  if (std::none_of(quantity.written.begin(), quantity.written.end(), is_digit) ||
      quantity.unit.find_first_of("0123456789.,") != std::string::npos) {
    return std::nullopt;
  }
  quantity.number = quantity.written;
  if (!read_number(quantity.number, &quantity.value)) {
    quantity.number = with_digits(quantity.written);
    if (may_be_thousands(quantity.written) || !read_number(quantity.number, &quantity.value)) {
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

// The unit that was probably meant: a sign for it, written in other case, or else with an 's' at
// its end, or misspelt behind its first letter; empty if none is near.
std::string nearest_unit(std::string const &word) {
  std::string nearest = word == "\xC2\xB0" ? "deg" : word == "'" ? "ft" : word == "\"" ? "in" : "";
  for (std::string const &unit : all_units()) {
    if (lower(word) == lower(unit)) {
      return unit;
    }
    bool const is_plural = unit.size() > 1 && lower(word) == unit + 's';
    bool const is_near =
        is_plural || (is_misspelling(word, unit) && lower(word).front() == lower(unit).front());
    nearest = nearest.empty() && is_near ? unit : nearest;
  }
  return nearest;
}

// "distance: mm, cm, m, in or ft": the short names are enough.
std::string units_text(UnitKind const &kind) {
  constexpr std::size_t LONGEST = 3; // characters
  std::vector<std::string> names;
  std::copy_if(kind.units.begin(), kind.units.end(), std::back_inserter(names),
               [](std::string const &name) { return name.size() <= LONGEST; });
  return kind.name + ": " + listed(names);
}

UnitKind const &kind_of(ValueRule const &rule) {
  return *std::find_if(unit_kinds().begin(), unit_kinds().end(),
                       [&rule](UnitKind const &kind) { return kind.type == rule.kind; });
}

// What a right number looks like.
std::string expected(ValueRule const &rule) {
  std::string const range = range_text(rule);
  return std::string("write a ") + (rule.form == ValueRule::WHOLE_NUMBER ? "whole " : "") +
         "number" + (rule.unit.empty() ? "" : " of " + rule.unit) +
         (range.empty() ? "" : " " + range) +
         (rule.has_kind && rule.allows_text ? ", or a number and a unit of " + kind_of(rule).name
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

// What to write for a text that is wrong: a better one, or what is still wrong with that.
std::string instead_of(std::string const &better, ValueRule const &rule) {
  Fault const fault = judge_value(better, rule);
  return fault ? fault->instead : "write " + better;
}

// What to write for a number with something behind it that does not belong there.
std::string without_unit(Quantity const &quantity, ValueRule const &rule) {
  constexpr double PER_CENT = 100;
  std::string const share = number_text(quantity.value / PER_CENT);
  bool const is_share =
      quantity.unit == "%" && judge_value(quantity.number, rule) && !judge_value(share, rule);
  return instead_of(is_share ? share : quantity.number, rule);
}

// A number with something behind it.
Fault judge_unit(std::string const &text, Quantity const &quantity, ValueRule const &rule) {
  UnitKind const *const kind = find_kind_of(quantity.unit);
  if (!rule.has_kind) {
    return ValueFault{quoted(text) + " is not a number", without_unit(quantity, rule)};
  }
  if (kind == nullptr) {
    std::string const nearest = nearest_unit(quantity.unit);
    bool const is_near = !nearest.empty() && Units::are_valid_units(rule.kind, nearest);
    return ValueFault{quoted(quantity.unit) + " is not a unit",
                      is_near ? instead_of(quantity.number + " " + nearest, rule)
                              : "write a unit of " + units_text(kind_of(rule))};
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
                      instead_of(number_text(rounded(value)), rule)};
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
    return ValueFault{quoted(text) + " is not a number", instead_of(quantity->text(), rule)};
  }
  if (plain != text) {
    return ValueFault{quoted(text) + " has blanks around it", instead_of(std::string(plain), rule)};
  }
  if (!quantity->unit.empty()) {
    return judge_unit(text, *quantity, rule);
  }
  if (rule.form == ValueRule::WHOLE_NUMBER && text.find_first_of(".eE") != text.npos) {
    std::string const whole = number_text(quantity->value);
    bool const is_whole = whole.find_first_of(".e") == whole.npos;
    return ValueFault{quoted(text) + " is not a whole number",
                      is_whole ? instead_of(whole, rule) : expected(rule)};
  }
  return judge_range(text, quantity->value, rule);
}

// As the library's own typed read sees it.
bool is_truth_value(std::string const &text) {
  constexpr char const *KEY = "UserConfig/Ostrel/Truth"; // of this process only
  Silence const silence;
  bool value = false;
  return UserConfig::set_user_config(KEY, text.c_str(), /*commit=*/false) == RESULT_SUCCESS &&
         UserConfig::get_user_config(KEY, &value) == RESULT_SUCCESS;
}

Fault judge_truth(std::string const &text) {
  if (is_truth_value(text)) {
    return std::nullopt;
  }
  std::vector<std::string> const words = {"true", "false"};
  std::string const *const meant = find_meant(trimmed(text), words);
  return ValueFault{quoted(text) + " is neither true nor false",
                    "write " + (meant == nullptr ? "true or false" : *meant)};
}

// One of the choices with less than a quarter of its characters wrong.
std::string const *find_choice(std::string const &text, std::vector<std::string> const &choices) {
  constexpr std::size_t NEAR = 4;
  auto const found =
      std::find_if(choices.begin(), choices.end(), [&text](std::string const &choice) {
        return trimmed(text) == choice ||
               edit_distance(lower(text), lower(choice)) * NEAR < choice.size();
      });
  return found == choices.end() ? find_meant(trimmed(text), choices) : &*found;
}

Fault judge_choice(std::string const &text, ValueRule const &rule) {
  if (std::find(rule.choices.begin(), rule.choices.end(), text) != rule.choices.end()) {
    return std::nullopt;
  }
  std::string const *const meant = find_choice(text, rule.choices);
  if (meant == nullptr && rule.allows_text) {
    return std::nullopt;
  }
  return ValueFault{quoted(text) + " is not one of the choices",
                    "write " + (meant == nullptr ? listed(rule.choices) : *meant)};
}

// A unit that is not of the kind of which the name speaks.
Fault judge_kind(std::string const &name, std::string const &text, Quantity const &quantity) {
  UnitKind const *const meant = kind_named_by(name), *const kind = find_kind_of(quantity.unit);
  if (meant == nullptr || kind == nullptr || kind == meant) {
    return std::nullopt;
  }
  return ValueFault{quoted(text) + " has a unit of " + kind->name + ", but the name speaks of " +
                        meant->name,
                    "write a unit of " + units_text(*meant)};
}

// In ASCII, with one character for each letter beyond it.
std::string with_single_bytes(std::string_view text) {
  constexpr unsigned char ASCII_END = 0x80, LETTER = 0xC0; // the first byte of several
  std::string result;
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte < ASCII_END || byte >= LETTER) {
      result += byte < ASCII_END ? c : '?';
    }
  }
  return result;
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
  return rule.maximum.empty() || rule.excludes_maximum ? high : "at most " + high;
}

Fault judge_characters(std::string const &text) {
  for (InvisibleCharacter const &character : INVISIBLE_CHARACTERS) {
    if (text.find(character.bytes) != text.npos) {
      return ValueFault{quoted(text) + " has an invisible character, " + character.name,
                        "write a blank or nothing for it"};
    }
  }
  return std::nullopt;
}

Fault judge_value(std::string const &text, ValueRule const &rule) {
  bool const is_free = rule.choices.empty() && rule.form == ValueRule::TEXT;
  Fault const invisible =
      is_free || (rule.allows_text && !rule.has_kind) ? std::nullopt : judge_characters(text);
  if (invisible) {
    return ValueFault{invisible->what, instead_of(without_invisible(text), rule)};
  }
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

Fault judge_unknown_value(std::string const &name, std::string const &text, bool is_number) {
  std::string const plain = without_invisible(text);
  std::optional<Quantity> const quantity = read_quantity(plain);
  if (!quantity) {
    bool const is_swapped = plain == "ture" || plain == "flase";
    return is_swapped ? judge_truth(text) : std::nullopt;
  }
  bool const has_unit = find_kind_of(quantity->unit) != nullptr;
  bool const has_minus = starts_with(quantity->written, "\xE2");
  if (!quantity->is_right() && is_surely_number(quantity->written) &&
      (has_unit || (quantity->unit.empty() && (is_number || has_minus)))) {
    return ValueFault{quoted(text) + " is not a number", "write " + quantity->text()};
  }
  // A battery "4S" has four cells, not seconds.
  std::string const nearest =
      quantity->unit.size() > 1 && !has_unit ? nearest_unit(quantity->unit) : "";
  if (!nearest.empty()) {
    return ValueFault{quoted(quantity->unit) + " is not a unit",
                      "write " + quantity->number + " " + nearest};
  }
  if (quantity->is_right() && plain != text && (quantity->unit.empty() || has_unit)) {
    Fault const invisible = judge_characters(text);
    return ValueFault{invisible ? invisible->what : quoted(text) + " has blanks around it",
                      "write " + plain};
  }
  return judge_kind(name, text, *quantity);
}

UnitKind const *kind_named_by(std::string const &name) {
  std::vector<std::string> const words = words_of(name);
  auto const found =
      std::find_if(unit_kinds().begin(), unit_kinds().end(), [&words](UnitKind const &kind) {
        return !words.empty() && starts_with(words.back(), kind.name);
      });
  return found == unit_kinds().end() ? nullptr : &*found;
}

bool is_above(std::string const &first, std::string const &second, std::string const &unit,
              bool is_number) {
  std::optional<Quantity> a = read_quantity(first), b = read_quantity(second);
  if (!a || !b || !a->is_right() || !b->is_right()) {
    return false;
  }
  if (a->unit.empty() && b->unit.empty()) {
    return is_number && a->value > b->value;
  }
  a->unit = a->unit.empty() ? unit : a->unit;
  b->unit = b->unit.empty() ? unit : b->unit;
  UnitKind const *const kind = find_kind_of(a->unit);
  return kind != nullptr && kind->type != UNIT_TYPE_ANGLE && kind == find_kind_of(b->unit) &&
         Units::convert_units(kind->type, b->unit, b->value, a->unit, &b->value) ==
             RESULT_SUCCESS &&
         a->value > b->value;
}

std::string const *find_meant(std::string_view word, std::vector<std::string> const &names) {
  return find_misspelt(with_single_bytes(word), names);
}

} // namespace Ostrel::Tool
