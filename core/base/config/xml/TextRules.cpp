// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/xml/TextRules.hpp"

#include "core/base/config/xml/ParserLimits.hpp"

#include <libxml/chvalid.h>
#include <libxml/parserInternals.h>

#include <algorithm>

namespace Ostrel {

namespace {

struct Range {
  int first, last;
};

// XML 1.0, fifth edition, production [4] NameStartChar.
constexpr Range NAME_START[] = {
    {':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};

// Production [4a] NameChar, without NameStartChar.
constexpr Range NAME_MORE[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};

template <std::size_t COUNT> bool is_in(int character, Range const (&ranges)[COUNT]) {
  for (Range const &range : ranges) {
    if (character >= range.first && character <= range.last) {
      return true;
    }
  }
  return false;
}

constexpr int NOT_UTF_8 = -1;

// Removes the first character from a text that is not empty, and returns it.
int pop_character(std::string_view &text) {
  constexpr std::size_t MAX_BYTES = 4;
  auto const *const first = reinterpret_cast<unsigned char const *>(text.data());
  int bytes = static_cast<int>(std::min(text.size(), MAX_BYTES));
  int const character = xmlGetUTF8Char(first, &bytes);
  // xmlGetUTF8Char accepts a continuation byte as the first byte, and overlong forms.
  bool const is_continuation = (*first & 0xC0) == 0x80;
  int const needed = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
  if (character < 0 || is_continuation || bytes != needed) {
    return NOT_UTF_8;
  }
  text.remove_prefix(static_cast<std::size_t>(bytes));
  return character;
}

bool begins_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

} // namespace

XmlFault find_name_fault(std::string_view name) {
  if (name.empty()) {
    return "it is empty";
  }
  if (name.size() > MAX_NAME_BYTES) {
    return "it is too long";
  }
  if (name == "xmlns" || begins_with(name, "xmlns:") || begins_with(name, "xml:")) {
    return "it is reserved for XML";
  }
  if (std::count(name.begin(), name.end(), ':') > 1) {
    return "it has more than one ':'";
  }
  bool is_first = true;
  while (!name.empty()) {
    int const character = pop_character(name);
    if (character == NOT_UTF_8) {
      return "it is not UTF-8";
    }
    if (!is_in(character, NAME_START) && (is_first || !is_in(character, NAME_MORE))) {
      return "it is no XML name";
    }
    is_first = false;
  }
  return nullptr;
}

XmlFault find_text_fault(std::string_view text) {
  if (text.size() > MAX_TEXT_BYTES) {
    return "it is too long";
  }
  while (!text.empty()) {
    int const character = pop_character(text);
    if (character == NOT_UTF_8) {
      return "it is not UTF-8";
    }
    if (!IS_CHAR(character)) {
      return "it has a character that XML forbids";
    }
  }
  return nullptr;
}

} // namespace Ostrel
