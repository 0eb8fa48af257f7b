// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/winapi/registry_file.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace Ostrel {

namespace {

constexpr std::string_view BLANKS = " \t\r";
constexpr DWORD LARGEST_BYTE = 0xFF, LARGEST_NUMBER = std::numeric_limits<DWORD>::max();

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view trim(std::string_view text) {
  std::size_t const first = text.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

// Removes the next line from the front of the text, and returns it without the blanks at its ends.
std::string_view take_line(std::string_view *text) {
  std::size_t const end = std::min(text->find('\n'), text->size());
  std::string_view const line = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return trim(line);
}

bool take(std::string_view *text, char expected) {
  if (text->empty() || text->front() != expected) {
    return false;
  }
  text->remove_prefix(1);
  *text = trim(*text);
  return true;
}

bool take_word(std::string_view *text, std::string_view word) {
  if (text->size() < word.size() ||
      !std::equal(word.begin(), word.end(), text->begin(),
                  [](char expected, char c) { return expected == lower(c); })) {
    return false;
  }
  text->remove_prefix(word.size());
  return true;
}

// Whether nothing but a comment follows.
bool is_end(std::string_view line) {
  return line.empty() || line.front() == ';';
}

// Reads a hexadecimal number.
bool take_number(std::string_view *text, DWORD largest, DWORD *number) {
  constexpr int BASE = 16;
  char const *const begin = text->data();
  auto const [end, error] = std::from_chars(begin, begin + text->size(), *number, BASE);
  if (error != std::errc() || *number > largest) {
    return false;
  }
  text->remove_prefix(static_cast<std::size_t>(end - begin));
  *text = trim(*text);
  return true;
}

// Reads a text in quotes, in which a backslash escapes a backslash or a quote. Before any other
// character it stands for itself: in files that were written by hand, paths often have single ones.
// The text may have several lines.
bool take_quoted(std::string_view *line, std::string *text) {
  for (std::size_t i = 1; i < line->size(); ++i) {
    char const c = (*line)[i];
    if (c == '"') {
      *line = trim(line->substr(i + 1));
      return true;
    }
    bool const is_escape =
        c == '\\' && i + 1 < line->size() && ((*line)[i + 1] == '\\' || (*line)[i + 1] == '"');
    i += is_escape ? 1 : 0;
    text->push_back((*line)[i]);
  }
  return false;
}

// A text with line breaks continues in `rest` to its closing quote. If that is missing, the text
// seems to end at the first quote of another line, where more characters follow: it is damaged.
bool parse_text(std::string_view line, std::string_view *rest, RegistryValue *value) {
  std::string_view whole(line.data(),
                         static_cast<std::size_t>(rest->data() + rest->size() - line.data()));
  std::string text;
  if (!take_quoted(&whole, &text) || !is_end(take_line(&whole))) {
    return false;
  }
  *rest = whole;
  value->type = REG_SZ;
  value->data.assign(text.c_str(), text.c_str() + text.size() + 1);
  return true;
}

bool parse_number(std::string_view line, RegistryValue *value) {
  DWORD number = 0;
  if (!take_number(&line, LARGEST_NUMBER, &number) || !is_end(line)) {
    return false;
  }
  auto const *const bytes = reinterpret_cast<BYTE const *>(&number);
  value->type = REG_DWORD;
  value->data.assign(bytes, bytes + sizeof number);
  return true;
}

// Parses bytes in hexadecimal with commas between them; after a backslash at the end of a line they
// continue on the next line of `rest`.
bool parse_bytes(std::string_view line, std::string_view *rest, std::vector<BYTE> *bytes) {
  for (;;) {
    while (line == "\\") {
      line = take_line(rest);
    }
    if (is_end(line)) {
      return true;
    }
    DWORD byte = 0;
    if (!take_number(&line, LARGEST_BYTE, &byte)) {
      return false;
    }
    bytes->push_back(static_cast<BYTE>(byte));
    if (!take(&line, ',') && !is_end(line) && line != "\\") {
      return false;
    }
  }
}

bool parse_hex(std::string_view line, std::string_view *rest, RegistryValue *value) {
  value->type = REG_BINARY;
  bool const has_type = take(&line, '(');
  if (has_type && (!take_number(&line, LARGEST_NUMBER, &value->type) || !take(&line, ')'))) {
    return false;
  }
  return take(&line, ':') && parse_bytes(line, rest, &value->data);
}

bool parse_data(std::string_view line, std::string_view *rest, RegistryValue *value) {
  if (!line.empty() && line.front() == '"') {
    return parse_text(line, rest, value);
  }
  if (take_word(&line, "dword:")) {
    return parse_number(trim(line), value);
  }
  return take_word(&line, "hex") && parse_hex(line, rest, value);
}

void parse_value(std::string_view line, std::string_view *rest, RegistryValues *values) {
  std::string name;
  bool const is_named = line.front() == '"' ? take_quoted(&line, &name) : take(&line, '@');
  if (!is_named || !take(&line, '=')) {
    return;
  }
  RegistryValue value;
  std::string_view behind = *rest; // a damaged value consumes no further line
  if (parse_data(line, &behind, &value)) {
    *rest = behind;
    (*values)[registry_name(name)] = std::move(value);
  }
}

} // namespace

std::string registry_name(std::string_view name) {
  std::string result(name);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

RegistryValues parse_registry_file(std::string_view text, std::string_view key) {
  std::string const wanted = registry_name(key);
  RegistryValues values;
  bool is_in_key = false;
  while (!text.empty()) {
    std::string_view line = take_line(&text);
    if (take(&line, '[')) {
      is_in_key = registry_name(line.substr(0, line.rfind(']'))) == wanted;
    } else if (is_in_key && !line.empty()) {
      parse_value(line, &text, &values);
    }
  }
  return values;
}

} // namespace Ostrel
