// SPDX-License-Identifier: Apache-2.0
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

constexpr char CATEGORY[] = "Ostrel.Core.Base.XmlConfigSource";

std::string printable(std::string const &text) {
  return text.size() > 60 ? text.substr(0, 60) + "... " + std::to_string(text.size()) : text;
}

// What makes an XML writer or reader lose bytes, in memory or on the way through the file.
TEST(StoredText, ComesBackByteForByte) {
  std::string const texts[] = {
      "a&b<c>",
      "AT&T;",
      "&amp;",
      "&#65;",
      "\"'quotes'\"",
      "  blanks  ",
      "\r\n\t",
      "line\nline\n",
      "]]>",
      "<!-- -->",
      "%s%n",
      "\xC3\xA9\xE2\x82\xAC",
      "   ",
      "\xF0\x9F\xA4\x96",
      "a\xC2\x85"
      "b",
      std::string(400, ' ') + "x",
      "",
      std::string(5000, ' '),
      std::string(1000000, '&'),
  };
  char const *const files[] = {
      "<R/>",
      "<?xml version='1.0' encoding='UTF-8'?><R/>",
      "<?xml version='1.0' encoding='ISO-8859-1'?><R/>",
      "<?xml version='1.0' encoding='US-ASCII'?><R/>",
  };
  for (char const *file : files) {
    LoadedSource one(file);
    for (std::string const &text : texts) {
      SCOPED_TRACE(std::string(file) + ": " + printable(text));
      ASSERT_EQ(one.source.set_value(one.top(), nullptr, text.c_str(), false), RESULT_SUCCESS);
      ASSERT_EQ(one.source.set_value(one.top(), "v", text.c_str(), true), RESULT_SUCCESS);
      std::string const expected = "[=" + text + "][v=" + text + "]";
      EXPECT_TRUE(one.values(one.top()) == expected);
      LoadedSource const again = one.reloaded();
      EXPECT_TRUE(again.values(again.top()) == expected);
    }
  }
}

TEST(StoredText, KeepsTextBesideSubKeys) {
  LoadedSource one("<R/>");
  ASSERT_EQ(one.source.set_value(one.top(), nullptr, " text \n", false), RESULT_SUCCESS);
  ASSERT_NE(one.source.create_key(one.top(), "K", true), nullptr);
  EXPECT_EQ(one.values(one.top()), "[= text \n]");
  LoadedSource const again = one.reloaded();
  EXPECT_EQ(again.values(again.top()), "[= text \n]");
}

TEST(StoredText, RefusesWhatAFileCannotHold) {
  constexpr char ATTRIBUTE[] = "v", UTF_8[] = "<R xmlns:p='u'/>";
  constexpr char LATIN[] = "<?xml version='1.0' encoding='ISO-8859-1'?><R/>";
  struct {
    char const *file, *name; // a null name is the text value
    std::string text;
  } const cases[] = {
      {UTF_8, ATTRIBUTE, "\xFF"},
      {UTF_8, nullptr, "\xC0\x80"},
      {UTF_8, nullptr, "\xED\xA0\x80"},
      {UTF_8, nullptr, "cut \xE2\x82"},
      {UTF_8, ATTRIBUTE, "\x01"},
      {UTF_8, nullptr, "\xEF\xBF\xBE"},
      {UTF_8, nullptr, std::string(10000001, 'x')},
      {UTF_8, ATTRIBUTE, std::string(9990000, 'x')},
      {UTF_8, ATTRIBUTE, std::string(1998000, '&')},
      {UTF_8, "", "t"},
      {UTF_8, "a b", "t"},
      {UTF_8, "a<b", "t"},
      {UTF_8, "1a", "t"},
      {UTF_8, "-a", "t"},
      {UTF_8, "\xFF", "t"},
      {UTF_8, "xmlns", "t"},
      {UTF_8, "xmlns:a", "t"},
      {UTF_8, "xml:lang", "t"},
      {UTF_8, "p:a", "t"},
      {LATIN, "\xE2\x82\xAC", "t"}, // the euro sign
  };
  CapturedLog log(CATEGORY);
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.name == nullptr ? "(text)" : c.name) + "=" + printable(c.text));
    LoadedSource one(c.file);
    EXPECT_EQ(one.source.set_value(one.top(), c.name, c.text.c_str(), true),
              RESULT_INVALID_ARGUMENT);
    EXPECT_EQ(log.take().size(), 1u);
    if (c.text == "t") {
      EXPECT_EQ(one.source.create_key(one.top(), c.name, true), nullptr);
      EXPECT_EQ(log.take().size(), 1u);
      EXPECT_EQ(one.below(one.top()), nullptr);
    }
    EXPECT_EQ(one.values(one.top()), "[=]");
    EXPECT_EQ(read_file(one.path), c.file);
  }
}

TEST(StoredText, TakesWhatTheParserJustTakes) {
  struct {
    char const *name;
    std::string text;
  } const cases[] = {
      {nullptr, std::string(10000000, 'x')},
      {"v", std::string(9989900, 'x')},
      {"v", std::string(1997900, '&')},
      {"a:b", "t"},
      {":", "t"},
      {"\xF0\x9F\xA4\x96.1-", "t"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.name == nullptr ? "(text)" : c.name) + "=" + printable(c.text));
    LoadedSource one("<?xml version='1.0' encoding='UTF-8'?><R/>");
    ASSERT_EQ(one.source.set_value(one.top(), c.name, c.text.c_str(), true), RESULT_SUCCESS);
    LoadedSource const again = one.reloaded();
    EXPECT_TRUE(again.values(again.top()) == one.values(one.top()));
  }
  std::string const longest_name(50000, 'n');
  LoadedSource one("<R/>");
  ASSERT_NE(one.source.create_key(one.top(), longest_name.c_str(), true), nullptr);
  EXPECT_EQ(one.source.create_key(one.top(), (longest_name + "n").c_str(), true), nullptr);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
}

TEST(StoredText, NestsAsDeepAsALoadTakes) {
  LoadedSource one("<R/>");
  void const *key = one.top();
  int depth = 0;
  while (void const *deeper = one.source.create_key(key, "K", false)) {
    key = deeper;
    ++depth;
  }
  EXPECT_EQ(depth, 256);
  ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
}

TEST(StoredText, EncodingAndCommentsSurviveASave) {
  char const *const encodings[] = {"ISO-8859-1", "UTF-16", "US-ASCII", "UTF-8"};
  for (char const *encoding : encodings) {
    SCOPED_TRACE(encoding);
    LoadedSource one("<R/>", "made.xml");
    std::string const head = std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?>\n";
    std::string text = head + "<!-- first -->\n<R v=\"A\"/>\n<!-- last -->\n";
    if (std::string(encoding) == "UTF-16") {
      std::string wide = "\xFF\xFE";
      for (char c : text) {
        wide += {c, '\0'};
      }
      text = wide;
    }
    write_file(one.path, text);
    ASSERT_EQ(one.source.init_source(one.path.c_str()), RESULT_SUCCESS);
    ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
    EXPECT_EQ(read_file(one.path), text);
  }
}

} // namespace
