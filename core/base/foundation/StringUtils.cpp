// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/StringUtils.hpp"

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <new>

namespace Ostrel {
namespace StringUtils {

namespace {

bool belongs(CharacterClass character_class, int character) {
  switch (character_class) {
  case ALNUM:
    return std::isalnum(character) != 0;
  case ALPHA:
    return std::isalpha(character) != 0;
  case CNTRL:
    return std::iscntrl(character) != 0;
  case DIGIT:
    return std::isdigit(character) != 0;
  case GRAPH:
    return std::isgraph(character) != 0;
  case LOWER:
    return std::islower(character) != 0;
  case PRINT:
    return std::isprint(character) != 0;
  case PUNCT:
    return std::ispunct(character) != 0;
  case SPACE:
    return std::isspace(character) != 0;
  case UPPER:
    return std::isupper(character) != 0;
  case XDIGIT:
    return std::isxdigit(character) != 0;
  }
  return false;
}

// Membership by one character.
class OneCharacter {
public:
  explicit OneCharacter(char delimiter) : delimiter_(delimiter) {}
  bool operator()(char character) const { return character == delimiter_; }

private:
  char delimiter_;
};

// Membership by class. The locale decides who belongs, so the answers are kept for one call only;
// asking once for each character that occurs is what makes a long text cheap.
class ClassMembers {
public:
  explicit ClassMembers(CharacterClass character_class) : character_class_(character_class) {}

  bool operator()(char character) {
    Answer &answer = answers_[static_cast<unsigned char>(character)];
    if (answer == Answer::UNKNOWN) {
      answer = belongs(character_class_, static_cast<unsigned char>(character)) ? Answer::MEMBER
                                                                                : Answer::OTHER;
    }
    return answer == Answer::MEMBER;
  }

private:
  enum class Answer : std::uint8_t { UNKNOWN, OTHER, MEMBER };

  std::array<Answer, UINT8_MAX + 1> answers_{};
  CharacterClass character_class_;
};

// Squeezes the text in place.
template <typename Membership> void trim_in_place(std::string &text, Membership &&is_member) {
  std::size_t const size = text.size();
  std::size_t from = 0;
  while (from < size && is_member(text[from])) {
    ++from;
  }
  char *const start = text.data();
  char *end = start;
  bool follows_member = false;
  for (; from < size; ++from) {
    char const character = start[from];
    bool const member = is_member(character);
    *end = character;
    // A further member of a run is written over by what comes next.
    end += member && follows_member ? 0 : 1;
    follows_member = member;
  }
  if (follows_member) {
    --end;
  }
  text.resize(static_cast<std::size_t>(end - start));
}

template <typename Membership>
void trim_text(char const *text, Membership &&is_member, std::string *out) try {
  if (out == nullptr) {
    return;
  }
  out->assign(text == nullptr ? "" : text);
  trim_in_place(*out, is_member);
} catch (std::bad_alloc const &) {
  out->clear();
}

template <typename Membership>
void split_text(char const *text, Membership &&is_member, std::deque<std::string> *out) {
  if (out == nullptr) {
    return;
  }
  std::size_t const size_before = out->size();
  try {
    char const *start = text == nullptr ? "" : text;
    char const *end = start;
    for (; *end != '\0'; ++end) {
      if (is_member(*end)) {
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
