// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Ostrel::Tool {

namespace {

constexpr char const *BLANKS = " \t\r\n";

char lower_letter(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Whether a name that is nearly another one has other words on purpose: its plural or singular, or
// a word that by itself is not misspelt, such as "Minimum" for "Maximum".
bool has_other_words(std::string_view word, std::string_view name) {
  std::vector<std::string> const written = words_of(word), meant = words_of(name);
  return lower(word) == lower(name) + 's' || lower(word) + 's' == lower(name) ||
         (written.size() == meant.size() &&
          !std::equal(written.begin(), written.end(), meant.begin(),
                      [](std::string const &part, std::string const &other) {
                        return part == other || is_misspelling(part, other);
                      }));
}

} // namespace

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower_letter);
  return result;
}

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
  return text.substr(0, text.find_last_not_of(BLANKS) + 1);
}

bool starts_with(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t end = 0; end != text.npos;) {
    end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
  }
  return parts;
}

std::string letters_of(std::string_view name) {
  std::string letters;
  for (char const c : lower(name)) {
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      letters += c;
    }
  }
  return letters;
}

std::string digits_of(std::string_view text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
               [](char c) { return c >= '0' && c <= '9'; });
  return digits;
}

std::string listed(std::vector<std::string> const &words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
  }
  return text;
}

std::size_t edit_distance(std::string_view from, std::string_view to) {
  constexpr std::size_t LONGEST = 256; // characters; the time grows with the product of the lengths
  if (std::max(from.size(), to.size()) > LONGEST) {
    return std::max(from.size(), to.size());
  }
  std::vector<std::size_t> before_last, last(to.size() + 1), row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    before_last = std::exchange(last, row);
    row[0] = i + 1;
    for (std::size_t j = 0; j < to.size(); ++j) {
      row[j + 1] = std::min({last[j + 1] + 1, row[j] + 1, last[j] + (from[i] == to[j] ? 0U : 1U)});
      if (i > 0 && j > 0 && from[i] == to[j - 1] && from[i - 1] == to[j]) {
        row[j + 1] = std::min(row[j + 1], before_last[j - 1] + 1);
      }
    }
  }
  return row[to.size()];
}

std::vector<std::string> words_of(std::string_view name) {
  std::vector<std::string> words;
  for (char const c : name) {
    if (words.empty() || (c >= 'A' && c <= 'Z')) {
      words.emplace_back();
    }
    words.back() += lower_letter(c);
  }
  return words;
}

bool is_misspelling(std::string_view word, std::string_view name) {
  constexpr std::size_t SHORTEST = 4; // of a name that can be told from others; in characters
  constexpr std::size_t LONG = 8;
  if (word == name || digits_of(word) != digits_of(name)) {
    return false;
  }
  std::string const typed = lower(word), meant = lower(name);
  return typed == meant || (meant.size() >= SHORTEST &&
                            edit_distance(typed, meant) <= (meant.size() >= LONG ? 2U : 1U));
}

bool is_abbreviation(std::string_view word, std::string_view name) {
  constexpr std::size_t SHORTEST = 3; // letters of a part
  std::vector<std::string> const written = words_of(word), full = words_of(name);
  return word != name && written.size() == full.size() &&
         std::equal(written.begin(), written.end(), full.begin(),
                    [](std::string const &part, std::string const &whole) {
                      return part.size() >= SHORTEST && starts_with(whole, part);
                    });
}

std::string const *find_misspelt(std::string_view word, std::vector<std::string> const &names) {
  auto const found = std::find_if(names.begin(), names.end(), [word](std::string const &name) {
    return is_abbreviation(word, name) ||
           (is_misspelling(word, name) && !has_other_words(word, name));
  });
  return found == names.end() ? nullptr : &*found;
}

} // namespace Ostrel::Tool
