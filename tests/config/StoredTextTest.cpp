// SPDX-License-Identifier: Apache-2.0
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

constexpr char CATEGORY[] = "Ostrel.Core.Base.XmlConfigSource";
constexpr char LATIN[] = "<?xml version='1.0' encoding='ISO-8859-1'?><R/>";

// What makes an XML writer or reader lose bytes, in memory or on the way through the file.
TEST(StoredText, ComesBackByteForByte) {
  std::string const texts[] = {std::string(400, ' ') + "x", "a\xC2\x85\x62", "a&b<c>", "%s%n",
                               std::string(1000000, '&'),   "\"'quotes'\"",  "\r\n\t", "]]>",
                               "\xC3\xA9\xE2\x82\xAC",      "line\nline\n",  "AT&T;",  "   ",
                               std::string(5000, ' '),      "  blanks  ",    "&amp;",  "",
                               "\xF0\x9F\xA4\x96",          "<!-- -->",      "&#65;"};
  for (std::string const encoding : {"", "UTF-8", "ISO-8859-1", "US-ASCII"}) {
    std::string const head = "<?xml version='1.0' encoding='" + encoding + "'?>";
    LoadedSource one((encoding.empty() ? "" : head) + "<R/>");
    for (std::string const &text : texts) {
      SCOPED_TRACE(encoding + ": " + text.substr(0, 60) + " " + std::to_string(text.size()));
      ASSERT_EQ(one.source.set_value(one.top(), nullptr, text.c_str(), false), RESULT_SUCCESS);
      ASSERT_EQ(one.source.set_value(one.top(), "v", text.c_str(), true), RESULT_SUCCESS);
      std::string const expected = "[=" + text + "][v=" + text + "]";
      EXPECT_TRUE(one.values(one.top()) == expected);
      LoadedSource const again = one.reloaded();
      EXPECT_TRUE(again.values(again.top()) == expected);
    }
  }
}

// All that a source tells of a key and what is below it.
std::string described(LoadedSource const &one, void const *key) {
  std::string name, all;
  one.source.get_key_name(key, &name);
  all = name + one.values(key) + "{";
  for (void const *sub = one.source.find_first(key, &name); sub != nullptr;
       sub = one.source.find_next(sub, &name)) {
    all += described(one, sub);
  }
  return all + "}";
}

// What a document may have that changes how it is read or written.
TEST(StoredText, DocumentsComeBackAsTheyWereRead) {
  char const *const files[] = {
      "<R xml:space='preserve'><A/><B> </B></R>",
      "<R xml:space='preserve'> t <A/> </R>",
      "<R><!-- c --><A>x<![CDATA[<y>]]>z</A><?p i?></R>",
      "<R xmlns='d&amp;' xmlns:p='u' p:v='1'><p:A v='2' p:w='3'/></R>",
      "<!DOCTYPE R [<!ATTLIST R v NMTOKENS #IMPLIED><!ENTITY e 'E'>]><R v=' a  b '>&e;</R>",
      "<!DOCTYPE R [<!ATTLIST R v ID 'a b' w CDATA '&amp;' xmlns:p CDATA 'u'>]><R v='a'/>",
      "<?xml version='1.0' encoding='ISO-8859-1'?><R v='\xE9'>\xE9<A>&#x20AC;</A></R>"};
  for (char const *file : files) {
    SCOPED_TRACE(file);
    LoadedSource one(file);
    ASSERT_EQ(one.result, RESULT_SUCCESS);
    ASSERT_EQ(one.source.set_value(one.top(), "v", "  x   y ", false), RESULT_SUCCESS);
    void const *made = one.source.create_key(one.top(), "K", false);
    ASSERT_EQ(one.source.set_value(made, nullptr, "  ", false), RESULT_SUCCESS);
    ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
    LoadedSource const again = one.reloaded();
    EXPECT_EQ(described(again, again.top()), described(one, one.top()));
  }
}

// Blanks are lost once a sub-key stands beside them, in any encoding, and nothing else is.
TEST(StoredText, KeepsTextBesideSubKeys) {
  struct {
    char const *file, *text, *reloaded;
  } const cases[] = {{"<R/>", " text \n", " text \n"}, {"<R/>", "  ", ""}, {LATIN, "  ", ""}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.file) + c.text);
    LoadedSource one(c.file);
    ASSERT_EQ(one.source.set_value(one.top(), nullptr, c.text, false), RESULT_SUCCESS);
    ASSERT_NE(one.source.create_key(one.top(), "K", true), nullptr);
    EXPECT_EQ(one.values(one.top()), std::string("[=") + c.text + "]");
    LoadedSource const again = one.reloaded();
    EXPECT_EQ(again.values(again.top()), std::string("[=") + c.reloaded + "]");
  }
}

TEST(StoredText, RefusesWhatAFileCannotHold) {
  constexpr char ATTRIBUTE[] = "v", EURO[] = "\xE2\x82\xAC", UTF_8[] = "<R xmlns:p='u'/>";
  struct {
    char const *file, *name, *text; // a null name is the text value
    int times = 1;
  } const cases[] = {
      {UTF_8, nullptr, "x", 10000001},  {LATIN, EURO, "t"},         {UTF_8, "p:a", "t"},
      {UTF_8, ATTRIBUTE, "x", 9990000}, {UTF_8, ATTRIBUTE, "\xFF"}, {UTF_8, "a b", "t"},
      {UTF_8, ATTRIBUTE, "&", 1998000}, {UTF_8, ATTRIBUTE, "\x01"}, {UTF_8, "a<b", "t"},
      {UTF_8, nullptr, "\xED\xA0\x80"}, {UTF_8, "xmlns", "t"},      {UTF_8, "1a", "t"},
      {UTF_8, nullptr, "\xEF\xBF\xBE"}, {UTF_8, "xmlns:a", "t"},    {UTF_8, "a:b:0", "t"},
      {UTF_8, nullptr, "cut \xE2\x82"}, {UTF_8, "xml:lang", "t"},   {UTF_8, "", "t"},
      {UTF_8, nullptr, "\xC0\x80"},     {UTF_8, "\xFF", "t"},       {UTF_8, "-a", "t"}};
  CapturedLog log(CATEGORY);
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.name == nullptr ? "(text)" : c.name) + "=" + c.text);
    LoadedSource one(c.file);
    std::string const text = repeated(c.text, c.times);
    EXPECT_EQ(one.source.set_value(one.top(), c.name, text.c_str(), true), RESULT_INVALID_ARGUMENT);
    EXPECT_EQ(log.take().size(), 1u);
    if (text == "t") {
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
    char const *name, *text;
    int times = 1;
  } const cases[] = {{"\xF0\x9F\xA4\x96.1-", "t"},
                     {"v", "x", 9989900},
                     {"a:b", "t"},
                     {nullptr, "x", 10000000},
                     {"v", "&", 1997900},
                     {":", "t"},
                     {"v", "\"<\t\n\xC3\xA9\xF0\x9F\xA4\x96", 399590}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.name == nullptr ? "(text)" : c.name) + "=" + c.text);
    LoadedSource one("<?xml version='1.0' encoding='UTF-8'?><R/>");
    std::string const text = repeated(c.text, c.times);
    ASSERT_EQ(one.source.set_value(one.top(), c.name, text.c_str(), true), RESULT_SUCCESS);
    LoadedSource const again = one.reloaded();
    EXPECT_TRUE(again.values(again.top()) == one.values(one.top()));
  }
  std::string const longest_name(50000, 'n');
  LoadedSource one("<R/>");
  for (int i = 0; i <= 5000; ++i) {
    unsigned long const result =
        one.source.set_value(one.top(), ("v" + std::to_string(i)).c_str(), "t", false);
    ASSERT_EQ(result, i < 5000 ? RESULT_SUCCESS : RESULT_INVALID_ARGUMENT);
  }
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
