// SPDX-License-Identifier: Apache-2.0
// A parser of the text from its front. Each `take` function removes one thing, and the blanks
// behind it, and returns false if it is not there.
#include "core/base/platform/winapi/registry_file.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace Ostrel {

namespace {

constexpr DWORD LARGEST_BYTE = 0xFF, LARGEST_NUMBER = std::numeric_limits<DWORD>::max();

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

void advance(std::string_view *text, std::size_t count) {
  text->remove_prefix(count);
  text->remove_prefix(std::min(text->find_first_not_of(" \t\r"), text->size()));
}

bool take(std::string_view *text, std::string_view word) {
  auto const is_same = [](char expected, char c) { return expected == lower(c); };
  if (text->size() < word.size() || !std::equal(word.begin(), word.end(), text->begin(), is_same)) {
    return false;
  }
  advance(text, word.size());
  return true;
}

// Whether nothing but a comment follows on the line.
bool is_end(std::string_view text) {
  return text.empty() || text.front() == '\n' || text.front() == ';';
}

// Takes a hexadecimal number.
bool take_number(std::string_view *text, DWORD largest, DWORD *number) {
  constexpr int BASE = 16;
  char const *const begin = text->data();
  auto const [end, error] = std::from_chars(begin, begin + text->size(), *number, BASE);
  if (error != std::errc() || *number > largest) {
    return false;
  }
  advance(text, static_cast<std::size_t>(end - begin));
  return true;
}

// Takes a text in quotes, in which a backslash escapes a backslash or a quote. Before any other
// character it stands for itself: in files that were written by hand, paths often have single ones.
// The text may have several lines.
bool take_quoted(std::string_view *text, std::string *content) {
  if (text->empty() || text->front() != '"') {
    return false;
  }
  for (std::size_t i = 1; i < text->size(); ++i) {
    if ((*text)[i] == '"') {
      advance(text, i + 1);
      return true;
    }
    std::string_view const pair = text->substr(i, 2);
    i += pair == "\\\\" || pair == "\\\"" ? 1 : 0;
    content->push_back((*text)[i]);
  }
  return false;
}

bool take_text(std::string_view *text, RegistryValue *value) {
  std::string content;
  value->type = REG_SZ;
  bool const is_taken = take_quoted(text, &content);
  value->data.assign(content.c_str(), content.c_str() + content.size() + 1);
  return is_taken;
}

bool take_dword(std::string_view *text, RegistryValue *value) {
  DWORD number = 0;
  auto const *const bytes = reinterpret_cast<BYTE const *>(&number);
  value->type = REG_DWORD;
  bool const is_taken = take_number(text, LARGEST_NUMBER, &number);
  value->data.assign(bytes, bytes + sizeof number);
  return is_taken;
}

// Takes bytes in hexadecimal with commas between them; after a backslash at the end of a line they
// continue on the next line.
bool take_hex(std::string_view *text, RegistryValue *value) {
  value->type = REG_BINARY;
  bool const has_type = take(text, "(");
  if (has_type && (!take_number(text, LARGEST_NUMBER, &value->type) || !take(text, ")"))) {
    return false;
  }
  bool is_next = take(text, ":");
  while (is_next && !is_end(*text)) {
    DWORD byte = 0;
    if (take(text, "\\")) {
      is_next = take(text, "\n") || text->empty();
    } else if (take_number(text, LARGEST_BYTE, &byte)) {
      value->data.push_back(static_cast<BYTE>(byte));
      is_next = take(text, ",") || is_end(*text) || text->front() == '\\';
    } else {
      is_next = false;
    }
  }
  return is_next;
}

// Returns false if there is no value or a damaged one.
bool take_value(std::string_view *text, RegistryValues *values) {
  std::string name;
  bool const is_named = take_quoted(text, &name) || take(text, "@");
  if (!is_named || !take(text, "=")) {
    return false;
  }
  RegistryValue value;
  bool const is_taken = take(text, "dword:") ? take_dword(text, &value)
                        : take(text, "hex")  ? take_hex(text, &value)
                                             : take_text(text, &value);
  // If the closing quote is missing, the text seems to end at the first quote of another line,
  // where more characters follow.
  if (!is_taken || !is_end(*text)) {
    return false;
  }
  (*values)[registry_name(name)] = std::move(value);
  return true;
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
  advance(&text, 0); // past blanks
  while (!text.empty()) {
    std::string_view rest = text;
    if (take(&text, "[")) {
      std::string_view const line = text.substr(0, text.find('\n'));
      is_in_key = registry_name(line.substr(0, line.rfind(']'))) == wanted;
    } else if (is_in_key && take_value(&rest, &values)) {
      text = rest; // which may begin some lines further down
    }
    text.remove_prefix(std::min(text.find('\n'), text.size()));
    take(&text, "\n");
  }
  return values;
}

} // namespace Ostrel
