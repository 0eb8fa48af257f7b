// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/StringUtils.hpp"

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>

namespace Ostrel {
namespace StringUtils {

namespace {

using Predicate = int (*)(int);

// Returns the test for membership of a class.
Predicate predicate_of(CharacterClass character_class) {
  switch (character_class) {
  case ALNUM:
    return [](int character) { return std::isalnum(character); };
  case ALPHA:
    return [](int character) { return std::isalpha(character); };
  case CNTRL:
    return [](int character) { return std::iscntrl(character); };
  case DIGIT:
    return [](int character) { return std::isdigit(character); };
  case GRAPH:
    return [](int character) { return std::isgraph(character); };
  case LOWER:
    return [](int character) { return std::islower(character); };
  case PRINT:
    return [](int character) { return std::isprint(character); };
  case PUNCT:
    return [](int character) { return std::ispunct(character); };
  case SPACE:
    return [](int character) { return std::isspace(character); };
  case UPPER:
    return [](int character) { return std::isupper(character); };
  case XDIGIT:
    return [](int character) { return std::isxdigit(character); };
  }
  return [](int) { return 0; };
}

// Membership by one character: 1 for a member, else 0.
class OneCharacter {
public:
  explicit OneCharacter(char delimiter) : delimiter_(delimiter) {}
  unsigned int operator()(char character) const { return character == delimiter_ ? 1 : 0; }

private:
  char delimiter_;
};

// Membership by class. Tests each distinct character once, which makes long texts cheap. The cache
// lasts for one call, because the locale may change between calls.
class ClassMembers {
public:
  explicit ClassMembers(CharacterClass character_class)
      : predicate_(predicate_of(character_class)) {
    cache_.fill(UNKNOWN);
  }

  unsigned int operator()(char character) {
    auto const index = static_cast<unsigned char>(character);
    std::uint8_t const cached = cache_[index];
    return cached != UNKNOWN ? cached : test(index);
  }

private:
  static constexpr std::uint8_t UNKNOWN = 2; // else 1 for a member and 0 for any other

  // Not inlined, because that would slow down the loops.
  __attribute__((noinline)) std::uint8_t test(unsigned char character) {
    return cache_[character] = predicate_(character) != 0 ? 1 : 0;
  }

  std::array<std::uint8_t, UINT8_MAX + 1> cache_;
  Predicate predicate_;
};

bool is_inside(char const *text, std::string const &buffer) {
  std::less_equal<> const is_not_after;
  return is_not_after(buffer.data(), text) && is_not_after(text, buffer.data() + buffer.size());
}

// Writes the trimmed text to a buffer of the same size, which may be the text itself. Returns the
// end.
template <typename Membership>
char *squeeze(char const *text, std::size_t size, Membership &is_member, char *buffer) {
  std::size_t from = 0;
  while (from < size && is_member(text[from]) != 0) {
    ++from;
  }
  char *end = buffer;
  unsigned int follows_member = 0;
#pragma GCC unroll 8
  for (; from < size; ++from) {
    char const character = text[from];
    unsigned int const member = is_member(character);
    *end = character;
    // The next character overwrites a repeated member. Branchless, because the branch would be
    // mispredicted in real texts.
    end += (member & follows_member) ^ 1U;
    follows_member = member;
  }
  return end - follows_member;
}

template <typename Membership>
void trim_text(char const *text, Membership is_member, std::string *out) try {
  if (out == nullptr) {
    return;
  }
  char const *from = text == nullptr ? "" : text;
  std::size_t const size = std::strlen(from);
  if (is_inside(from, *out)) {
    *out = std::string(from, size);
    from = out->data();
  }
  out->resize(size);
  char *const begin = out->data();
  out->resize(static_cast<std::size_t>(squeeze(from, size, is_member, begin) - begin));
} catch (std::bad_alloc const &) {
  out->clear();
}

template <typename Membership>
void split_text(char const *text, Membership is_member, std::deque<std::string> *out) {
  if (out == nullptr) {
    return;
  }
  std::size_t const size_before = out->size();
  try {
    char const *start = text == nullptr ? "" : text;
    char const *end = start;
    for (; *end != '\0'; ++end) {
      if (is_member(*end) != 0) {
        out->emplace_back(start, static_cast<std::size_t>(end - start));
        start = end + 1;
      }
    }
    out->emplace_back(start, static_cast<std::size_t>(end - start));
  } catch (std::bad_alloc const &) {
    out->resize(size_before);
  }
}

} // namespace

void trim(char const *text, char delimiter, std::string *out) {
  trim_text(text, OneCharacter(delimiter), out);
}

void trim(char const *text, CharacterClass character_class, std::string *out) {
  trim_text(text, ClassMembers(character_class), out);
}

void split(char const *text, char delimiter, std::deque<std::string> *out) {
  split_text(text, OneCharacter(delimiter), out);
}

void split(char const *text, CharacterClass character_class, std::deque<std::string> *out) {
  split_text(text, ClassMembers(character_class), out);
}

} // namespace StringUtils
} // namespace Ostrel
