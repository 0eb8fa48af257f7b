// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/StringUtils.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cwchar>

using namespace Ostrel;

namespace {

using Fields = std::deque<std::string>;
constexpr auto NO_CLASS = static_cast<StringUtils::CharacterClass>(11);

TEST(StringUtils, TrimsAndKeepsTheFirstOfARun) {
  std::string text = "  its own \t text ";
  StringUtils::trim(text.c_str() + 1, ' ', &text);
  EXPECT_EQ(text, "its own \t text");
  StringUtils::trim(text.c_str(), StringUtils::SPACE, &text);
  EXPECT_EQ(text, "its own text");
  StringUtils::trim(nullptr, ' ', &text);
  EXPECT_EQ(text, "");
  StringUtils::trim("a", ' ', nullptr);
  for (char const *const blank : {"", " ", "   "}) {
    text = "stale";
    StringUtils::trim(blank, ' ', &text);
    EXPECT_EQ(text, "");
  }
  StringUtils::trim("\xE4\xE4\x80", '\xE4', &text);
  EXPECT_EQ(text, "\x80");
}

TEST(StringUtils, EachClassHasItsMembers) {
  // Control, space, punctuation, digit, then letters: each class has a different subset.
  std::string const samples = "\x01 .7Ggf", none = "\xFF"; // in no class
  struct {
    StringUtils::CharacterClass character_class;
    char const *others;
  } const cases[] = {{StringUtils::ALNUM, "\x01 ."},    {StringUtils::ALPHA, "\x01 .7"},
                     {StringUtils::CNTRL, " .7Ggf"},    {StringUtils::DIGIT, "\x01 .Ggf"},
                     {StringUtils::GRAPH, "\x01 "},     {StringUtils::LOWER, "\x01 .7G"},
                     {StringUtils::PRINT, "\x01"},      {StringUtils::PUNCT, "\x01 7Ggf"},
                     {StringUtils::SPACE, "\x01.7Ggf"}, {StringUtils::UPPER, "\x01 .7gf"},
                     {StringUtils::XDIGIT, "\x01 .Gg"}, {NO_CLASS, "\x01 .7Ggf"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.character_class);
    Fields fields;
    StringUtils::split((samples + none).c_str(), c.character_class, &fields);
    std::string others;
    for (std::string const &field : fields) {
      others += field;
    }
    EXPECT_EQ(others, c.others + none);
  }
}

TEST(StringUtils, SplitsAtEveryDelimiterAndAppends) {
  Fields fields = {"first"};
  StringUtils::split(",a,,b,", ',', &fields);
  StringUtils::split(nullptr, ',', &fields);
  StringUtils::split("a1b", StringUtils::DIGIT, &fields);
  EXPECT_EQ(fields, (Fields{"first", "", "a", "", "b", "", "", "a", "b"}));
  StringUtils::split("a", ',', nullptr);
}

constexpr char UNTOUCHED = '#';
constexpr auto NO_CHARACTER = static_cast<wint_t>(0xFFFE); // not in the C locale

TEST(Formatting, StaysInTheBufferAndReturnsTheLength) {
  constexpr int NEGATIVE = INT_MIN;
  struct {
    char const *value, *text;
    unsigned int size;
    int result;
  } const cases[] = {
      {"ab", "ab", 4, 2},      {"abcd", "abc", 4, 4},  {"abcdef", "abc", 4, NEGATIVE},
      {"", "", 1, 0},          {"a", "", 1, 1},        {"100%d", "100%d", 8, 5},
      {"ab", "", 1, NEGATIVE}, {"", "########", 0, 0}, {"a", "########", 0, NEGATIVE}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.value) + " in " + std::to_string(c.size));
    std::string buffer(8, UNTOUCHED);
    int const result = ovra_snprintf(buffer.data(), c.size, "%s", c.value);
    EXPECT_EQ(result < 0 ? NEGATIVE : result, c.result);
    EXPECT_STREQ(buffer.c_str(), c.text);
    EXPECT_EQ(buffer.substr(c.size), std::string(8 - c.size, UNTOUCHED));
  }
  EXPECT_EQ(ovra_snprintf(nullptr, 4, "%s", ""), 0);
  EXPECT_LT(ovra_snprintf(nullptr, 4, "%s", "a"), 0);
  char const *no_format = nullptr;
  char buffer = UNTOUCHED;
  char several[] = "stale";
  EXPECT_EQ(ovra_snprintf(several, 5, "%lc", NO_CHARACTER) < 0, !ON_WINDOWS); // Windows drops it
  EXPECT_STREQ(several, "");
  EXPECT_EQ(ovra_snprintf(&buffer, 1, no_format, 1), 0);
  EXPECT_EQ(buffer, '\0');
}

} // namespace
