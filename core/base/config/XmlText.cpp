// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/XmlText.hpp"

namespace Ostrel {

namespace {

// What the parser takes without its option for huge files: libxml2's constants
// XML_MAX_NAME_LENGTH and XML_MAX_TEXT_LENGTH.
constexpr std::size_t MAX_NAME_BYTES = 50000;
constexpr std::size_t MAX_TEXT_BYTES = 10000000;

struct Range {
  char32_t first, last;
};

// XML 1.0, fifth edition, production [4] NameStartChar.
constexpr Range NAME_START[] = {
    {':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};

// Production [4a] NameChar, as far as it goes beyond NameStartChar.
constexpr Range NAME_MORE[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};

// Production [2] Char.
constexpr Range CHARACTER[] = {
    {0x9, 0xA}, {0xD, 0xD}, {0x20, 0xD7FF}, {0xE000, 0xFFFD}, {0x10000, 0x10FFFF},
};

template <std::size_t COUNT> bool is_in(char32_t character, Range const (&ranges)[COUNT]) {
  for (Range const &range : ranges) {
    if (character >= range.first && character <= range.last) {
      return true;
    }
  }
  return false;
}

constexpr char32_t NOT_UTF_8 = 0xFFFFFFFF;

// Takes the first character off a text that is not empty; NOT_UTF_8 when its bytes are none: cut
// off, longer than needed, a surrogate or beyond U+10FFFF.
char32_t take_character(std::string_view &text) {
  auto const byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char const lead = byte(0);
  std::size_t const length = lead < 0x80   ? 1
                             : lead < 0xC0 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF8 ? 4
                                           : 0;
  if (length == 0 || length > text.size()) {
    return NOT_UTF_8;
  }
  constexpr unsigned char LEAD_BITS[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t character = lead & LEAD_BITS[length];
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return NOT_UTF_8;
    }
    character = character << 6 | (byte(i) & 0x3F);
  }
  constexpr char32_t SHORTEST[] = {0, 0, 0x80, 0x800, 0x10000};
  bool const is_surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < SHORTEST[length] || is_surrogate || character > 0x10FFFF) {
    return NOT_UTF_8;
  }
  text.remove_prefix(length);
  return character;
}

// How many bytes an attribute's character takes in the file.
std::size_t attribute_bytes(char32_t character, XmlEncoding encoding) {
  switch (character) {
  case '\t':
    return sizeof("&#9;") - 1;
  case '\n':
  case '\r':
    return sizeof("&#10;") - 1;
  case '<':
  case '>':
    return sizeof("&lt;") - 1;
  case '&':
    return sizeof("&amp;") - 1;
  case '"':
    return sizeof("&quot;") - 1;
  default:
    break;
  }
  if (character < 0x80) {
    return 1;
  }
  if (encoding == XmlEncoding::OTHER) {
    return sizeof("&#x10FFFF;") - 1;
  }
  return character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

bool begins_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool begins_a_name(std::string_view text) {
  return !text.empty() && is_in(take_character(text), NAME_START);
}

// The parser takes a name apart at its first two colons, as a prefix and two names. It knows other
// forms as well, but not that there is something behind the second colon that is no name.
bool cannot_be_taken_apart(std::string_view name) {
  std::size_t const first = name.find(':');
  std::size_t const second = first == name.npos ? name.npos : name.find(':', first + 1);
  if (first == 0 || second == name.npos) {
    return false;
  }
  std::string_view const middle = name.substr(first + 1, second - first - 1);
  std::string_view const rest = name.substr(second + 1);
  return begins_a_name(middle) && !rest.empty() && !begins_a_name(rest);
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
    return "XML keeps it for itself";
  }
  if (cannot_be_taken_apart(name)) {
    return "behind its second ':' no name begins";
  }
  bool is_first = true;
  while (!name.empty()) {
    char32_t const character = take_character(name);
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
    char32_t const character = take_character(text);
    if (character == NOT_UTF_8) {
      return "it is not UTF-8";
    }
    if (!is_in(character, CHARACTER)) {
      return "it has a character that XML forbids";
    }
  }
  return nullptr;
}

std::size_t measure_attribute(std::string_view text, XmlEncoding encoding) {
  std::size_t bytes = 0;
  while (!text.empty()) {
    bytes += attribute_bytes(take_character(text), encoding);
  }
  return bytes;
}

} // namespace Ostrel
