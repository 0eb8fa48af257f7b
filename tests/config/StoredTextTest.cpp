// SPDX-License-Identifier: Apache-2.0
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

constexpr char CATEGORY[] = "Ostrel.Core.Base.XmlConfigSource";
constexpr char LATIN[] = "<?xml version='1.0' encoding='ISO-8859-1'?><R/>";

TEST(StoredText, RefusesWhatAFileCannotHold) {
  constexpr char ATTRIBUTE[] = "v", EURO[] = "\xE2\x82\xAC", UTF_8[] = "<R xmlns:p='u'/>";
  struct {
    char const *file, *name, *text; // a null name is the text value
    int times = 1;
  } const cases[] = {
      {UTF_8, nullptr, "x", 10000001},  {LATIN, EURO, "t"},         {UTF_8, "p:a", "t"},
      {UTF_8, ATTRIBUTE, "x", 9990000}, {UTF_8, ATTRIBUTE, "\x01"}, {UTF_8, "a b", "t"},
      {UTF_8, ATTRIBUTE, "&", 1998000}, {UTF_8, nullptr, "\xFF"},   {UTF_8, "a:b:0", "t"}};
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
                     {nullptr, "&", 1000000},
                     {nullptr, " ", 5000},
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
  LoadedSource one("<R" + repeated(" v@=''", 4999) + "/>");
  EXPECT_EQ(one.source.set_value(one.top(), "v", "t", false), RESULT_SUCCESS);
  EXPECT_EQ(one.source.set_value(one.top(), "w", "t", false), RESULT_INVALID_ARGUMENT);
  ASSERT_NE(one.source.create_key(one.top(), longest_name.c_str(), true), nullptr);
  EXPECT_EQ(one.source.create_key(one.top(), (longest_name + "n").c_str(), false), nullptr);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
}

TEST(StoredText, HasAsManyNamesAsALoadTakes) {
  LoadedSource one("<R>" + repeated("<K@/>", 99998) + "</R>");
  ASSERT_EQ(one.result, RESULT_SUCCESS);
  void const *const last = one.source.create_key(one.top(), "Last", false);
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(one.source.create_key(one.top(), "Other", false), nullptr);
  EXPECT_EQ(one.source.create_key(one.top(), "p:K1", false), nullptr);
  EXPECT_EQ(one.source.set_value(last, "Other", "t", false), RESULT_INVALID_ARGUMENT);
  EXPECT_NE(one.source.create_key(one.top(), "K1", true), nullptr);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
  EXPECT_EQ(one.source.delete_key(last), RESULT_SUCCESS); // its name no longer counts
  EXPECT_EQ(one.source.set_value(one.top(), "Other", "t", false), RESULT_SUCCESS);
  EXPECT_EQ(one.source.create_key(one.top(), "Last", false), nullptr); // and is not known any more
}

TEST(StoredText, NestsAsDeepAsALoadTakes) {
  LoadedSource one("<R/>");
  int depth = 0;
  for (void const *key = one.top(); key != nullptr; ++depth) {
    key = one.source.create_key(key, "K", false);
  }
  EXPECT_EQ(depth, 257);
  ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
}

// As a reference, where the file names no encoding.
TEST(StoredText, BlanksBesideTextSurviveASave) {
  for (std::string const text : {"> ", " \xC3\xA9\n"}) {
    LoadedSource one("<R><A/>" + text + "<B/>\n</R>");
    ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
    LoadedSource const again = one.reloaded();
    EXPECT_EQ(again.values(again.top()), "[=" + text + "]");
  }
}

TEST(StoredText, AFileKeepsItsEncodingUnlessATextDoesNotFit) {
  LoadedSource one(LATIN);
  ASSERT_EQ(one.source.set_value(one.top(), nullptr, " ", false), RESULT_SUCCESS);
  ASSERT_NE(one.source.create_key(one.top(), "K", true), nullptr);
  EXPECT_EQ(one.source.set_value(one.top(), "v", "\xE2\x82\xAC\xC3\xA9", true), RESULT_SUCCESS);
  EXPECT_EQ(read_file(one.path), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                                 "<R v=\"&#8364;\xE9\"> <K/></R>\n");
}

TEST(StoredText, EncodingAndCommentsSurviveASave) {
  for (std::string const encoding : {"ISO-8859-1", "UTF-16", "US-ASCII", "UTF-8"}) {
    SCOPED_TRACE(encoding);
    std::string const text = "<?xml version=\"1.0\" encoding=\"" + encoding +
                             "\"?>\n<!-- first -->\n<R v=\"A\"/>\n<!-- last -->\n";
    std::string wide = "\xFF\xFE";
    for (char const c : text) {
      wide += {c, '\0'};
    }
    LoadedSource one(encoding == "UTF-16" ? wide : text);
    ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
    EXPECT_EQ(read_file(one.path), encoding == "UTF-16" ? wide : text);
  }
}

} // namespace
