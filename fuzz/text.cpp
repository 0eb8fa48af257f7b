// SPDX-License-Identifier: Apache-2.0
// `trim` and `split` agree on the same text: the fields of `split` joined by the delimiters are the
// text, and the fields that are not empty are the result of `trim`.
#include "core/base/foundation/StringUtils.hpp"
#include "fuzz/support/Fuzz.hpp"

#include <cctype>

namespace {

using namespace Ostrel;

using Fields = std::deque<std::string>;

// One delimiter, in both overloads.
class Delimiter {
public:
  virtual ~Delimiter() = default;
  virtual bool has(char character) const = 0;
  virtual void trim(char const *text, std::string *out) const = 0;
  virtual void split(char const *text, Fields *out) const = 0;
};

class OneCharacter final : public Delimiter {
public:
  explicit OneCharacter(char character) : character_(character) {}
  bool has(char character) const override { return character == character_; }
  void trim(char const *text, std::string *out) const override {
    StringUtils::trim(text, character_, out);
  }
  void split(char const *text, Fields *out) const override {
    StringUtils::split(text, character_, out);
  }

private:
  char character_;
};

class OneClass final : public Delimiter {
public:
  explicit OneClass(int number) : number_(number) {}
  bool has(char character) const override {
    int (*const predicates[])(int) = {std::isalnum, std::isalpha, std::iscntrl, std::isdigit,
                                      std::isgraph, std::islower, std::isprint, std::ispunct,
                                      std::isspace, std::isupper, std::isxdigit};
    bool const is_known = number_ >= StringUtils::ALNUM && number_ <= StringUtils::XDIGIT;
    return is_known && predicates[number_](static_cast<unsigned char>(character)) != 0;
  }
  void trim(char const *text, std::string *out) const override {
    StringUtils::trim(text, static_cast<StringUtils::CharacterClass>(number_), out);
  }
  void split(char const *text, Fields *out) const override {
    StringUtils::split(text, static_cast<StringUtils::CharacterClass>(number_), out);
  }

private:
  int number_;
};

// The fields, with the delimiters of the text between them.
std::string rejoined(Fields const &fields, std::string const &text) {
  std::string all;
  for (std::string const &field : fields) {
    all += field;
    if (all.size() < text.size()) {
      all += text[all.size()];
    }
  }
  return all;
}

// The fields that are not empty, each two joined by the delimiter that follows the first.
std::string squeezed(Fields const &fields, std::string const &text) {
  std::string result;
  std::size_t end = 0; // of the field in the text
  char delimiter = '\0';
  for (std::string const &field : fields) {
    end += field.size();
    if (!field.empty()) {
      result += result.empty() ? field : delimiter + field;
      delimiter = end < text.size() ? text[end] : '\0';
    }
    ++end;
  }
  return result;
}

void check(Delimiter const &delimiter, std::string const &text) {
  ExactCopy copy({text.c_str(), text.size() + 1});
  Fields fields = {"before"};
  delimiter.split(copy.data(), &fields);
  require(fields.size() >= 2 && fields.front() == "before", "split takes off what was there");
  fields.pop_front();
  require(rejoined(fields, text) == text, "the fields of split do not make up the text");
  for (std::string const &field : fields) {
    for (char const character : field) {
      require(!delimiter.has(character), "a field of split has a delimiter in it");
    }
  }

  std::string trimmed = "stale";
  delimiter.trim(copy.data(), &trimmed);
  require(trimmed == squeezed(fields, text), "trim does not give what split does");
  std::string again = trimmed;
  delimiter.trim(again.c_str(), &again);
  require(again == trimmed, "trim of what is trimmed, in its own place, changes it");
}

} // namespace

void fuzz(Input input) {
  auto const delimiter = static_cast<char>(input.take_byte());
  int const character_class = static_cast<signed char>(input.take_byte()) - '0';
  std::string const text = input.take_text();
  check(OneCharacter(delimiter), text);
  check(OneClass(character_class), text);
}
