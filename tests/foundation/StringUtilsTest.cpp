// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/StringUtils.hpp"

#include <gtest/gtest.h>

using namespace Ostrel;

namespace {

using Fields = std::deque<std::string>;
constexpr auto NO_CLASS = static_cast<StringUtils::CharacterClass>(11);

TEST(StringUtils, TrimsByACharacter) {
  struct {
    char const *text;
    char delimiter;
    char const *trimmed;
  } const cases[] = {
      {"  a   b  ", ' ', "a b"}, {"", ',', ""},         {",,,", ',', ""},    {"a", ',', "a"},
      {",a", ',', "a"},          {"a,,b,", ',', "a,b"}, {"a b", ',', "a b"}, {nullptr, ',', ""},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.trimmed);
    std::string out = "stale";
    StringUtils::trim(c.text, c.delimiter, &out);
    EXPECT_EQ(out, c.trimmed);
  }
}

TEST(StringUtils, TrimsByAClassAndKeepsTheFirstOfARun) {
  struct {
    char const *text;
    StringUtils::CharacterClass character_class;
    char const *trimmed;
  } const cases[] = {
      {"x\t  y", StringUtils::SPACE, "x\ty"},         {" \t\n", StringUtils::SPACE, ""},
      {"12ab34cd5", StringUtils::DIGIT, "ab3cd"},     {"  a  ", NO_CLASS, "  a  "},
      {"-f00d-", StringUtils::XDIGIT, "-f-"},         {"aBBc", StringUtils::UPPER, "aBc"},
      {"\xE9 \xE9", StringUtils::SPACE, "\xE9 \xE9"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.text);
    std::string out;
    StringUtils::trim(c.text, c.character_class, &out);
    EXPECT_EQ(out, c.trimmed);
  }
  std::string text = "  its own  text ";
  StringUtils::trim(text.c_str(), ' ', &text);
  EXPECT_EQ(text, "its own text");
}

TEST(StringUtils, EachClassHasItsMembers) {
  // A class is told by which of these it takes: control, space, punctuation, digit, then letters.
  std::string const samples = "\x01 .7Ggf";
  struct {
    StringUtils::CharacterClass character_class;
    char const *others;
  } const cases[] = {
      {StringUtils::ALNUM, "\x01 ."},    {StringUtils::ALPHA, "\x01 .7"},
      {StringUtils::CNTRL, " .7Ggf"},    {StringUtils::DIGIT, "\x01 .Ggf"},
      {StringUtils::GRAPH, "\x01 "},     {StringUtils::LOWER, "\x01 .7G"},
      {StringUtils::PRINT, "\x01"},      {StringUtils::PUNCT, "\x01 7Ggf"},
      {StringUtils::SPACE, "\x01.7Ggf"}, {StringUtils::UPPER, "\x01 .7gf"},
      {StringUtils::XDIGIT, "\x01 .Gg"}, {NO_CLASS, "\x01 .7Ggf"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.character_class);
    Fields fields;
    StringUtils::split(samples.c_str(), c.character_class, &fields);
    std::string others;
    for (std::string const &field : fields) {
      others += field;
    }
    EXPECT_EQ(others, c.others);
  }
}

TEST(StringUtils, SplitsAtEveryDelimiterAndAppends) {
  struct {
    char const *text;
    char delimiter;
    Fields fields;
  } const cases[] = {
      {"a,b", ',', {"a", "b"}}, {",a,,b,", ',', {"", "a", "", "b", ""}},
      {"", ',', {""}},          {nullptr, ',', {""}},
      {"a b", ',', {"a b"}},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.text == nullptr ? "null" : c.text);
    Fields out = {"first"}, expected = {"first"};
    expected.insert(expected.end(), c.fields.begin(), c.fields.end());
    StringUtils::split(c.text, c.delimiter, &out);
    EXPECT_EQ(out, expected);
  }
  Fields out;
  StringUtils::split("a1b22c", StringUtils::DIGIT, &out);
  EXPECT_EQ(out, (Fields{"a", "b", "", "c"}));
  StringUtils::split("a", ',', nullptr);
  StringUtils::trim("a", StringUtils::DIGIT, nullptr);
}

} // namespace
