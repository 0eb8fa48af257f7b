// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/Formatting.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

constexpr char UNTOUCHED = '#';

TEST(Formatting, KeepsToTheBufferAndTellsTheLength) {
  constexpr int NEGATIVE = INT_MIN;
  struct {
    char const *value;
    unsigned int size;
    int result;
    char const *text;
  } const cases[] = {
      {"ab", 4, 2, "ab"},       {"abcd", 4, 4, "abc"},   {"abcdef", 4, NEGATIVE, "abc"},
      {"", 4, 0, ""},           {"", 1, 0, ""},          {"a", 1, 1, ""},
      {"100%d", 8, 5, "100%d"}, {"ab", 1, NEGATIVE, ""},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.value) + " in " + std::to_string(c.size));
    std::string buffer(8, UNTOUCHED);
    int const result = ovra_snprintf(buffer.data(), c.size, "%s", c.value);
    EXPECT_EQ(result < 0 ? NEGATIVE : result, c.result);
    EXPECT_STREQ(buffer.c_str(), c.text);
    EXPECT_EQ(buffer.substr(c.size), std::string(8 - c.size, UNTOUCHED));
  }
}

TEST(Formatting, WritesNothingWhereNothingMayBeWritten) {
  char buffer = UNTOUCHED;
  EXPECT_EQ(ovra_snprintf(&buffer, 0, "%s", ""), 0);
  EXPECT_LT(ovra_snprintf(&buffer, 0, "%s", "a"), 0);
  EXPECT_EQ(buffer, UNTOUCHED);
  EXPECT_EQ(ovra_snprintf(nullptr, 4, "%s", ""), 0);
  EXPECT_LT(ovra_snprintf(nullptr, 4, "%s", "a"), 0);

  char const *no_format = nullptr;
  EXPECT_EQ(ovra_snprintf(&buffer, 1, no_format, 1), 0);
  EXPECT_EQ(buffer, '\0');
}

} // namespace
