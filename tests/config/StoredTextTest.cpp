// SPDX-License-Identifier: Apache-2.0
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

constexpr char CATEGORY[] = "Ostrel.Core.Base.XmlConfigSource";
constexpr char LATIN[] = "<?xml version='1.0' encoding='ISO-8859-1'?><R/>";

TEST(StoredText, RefusesWhatAFileCannotHold) {
  constexpr char CONTENT[] = "<R xmlns:p='u'/>";
  struct {
    char const *name, *text; // a null name is the text value
    int times = 1;
  } const cases[] = {{nullptr, "x", 10000001}, {"p:a", "t"},  {"a b", "t"},
                     {"a:b:c", "t"},           {"v", "\x01"}, {nullptr, "\xFF"},
                     {nullptr, "\xED\xA0\x80"}}; // a surrogate
  CapturedLog log(CATEGORY);
  for (auto const &c : cases) {
    std::string const name = c.name == nullptr ? "" : c.name, text = repeated(c.text, c.times);
    SCOPED_TRACE(name + "=" + c.text);
    LoadedSource one(CONTENT);
    EXPECT_EQ(one.source.set_value(one.top(), c.name, text.c_str(), true), RESULT_INVALID_ARGUMENT);
    EXPECT_EQ(log.take().at(0).find("WARN  - Refused to set value '" + name + "' of key 'R': "),
              0u);
    if (text == "t") {
      EXPECT_EQ(one.source.create_key(one.top(), c.name, true), nullptr);
      EXPECT_EQ(log.take().size(), 1u);
      EXPECT_EQ(one.below(one.top()), nullptr);
    }
    EXPECT_EQ(one.values(one.top()), "[=]");
    EXPECT_EQ(read_file(one.path), CONTENT);
  }
}

TEST(StoredText, AcceptsTheLargestThatTheParserAccepts) {
  constexpr char ROBOT[] = "\xF0\x9F\xA4\x96.1-";
  constexpr char ALL_SIZES[] = "\"<\t\n\xC3\xA9\xF0\x9F\xA4\x96";
  struct {
    char const *name, *text;
    int times;
  } const cases[] = {{ROBOT, "t", 1},          {"v", "&", 1997900},    {"a:b", "t", 1},
                     {nullptr, "x", 10000000}, {"v", ALL_SIZES, 1000}, {":", "t", 1},
                     {"a:", "t", 1},           {nullptr, " ", 5000}};
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

TEST(StoredText, HasAsManyNamesAsALoadAccepts) {
  LoadedSource one("<R v='1'>" + repeated("<K@/>", 99900) + "</R>");
  void const *last = nullptr;
  int added = 0;
  for (void const *key = one.top(); key != nullptr; ++added) {
    last = key;
    std::string const name = "Added" + std::to_string(added);
    key = one.source.create_key(one.top(), name.c_str(), false);
  }
  EXPECT_LE(added, 100);
  EXPECT_EQ(one.source.set_value(last, "Other", "t", false), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.source.set_value(one.top(), "v", "2", false), RESULT_SUCCESS);
  EXPECT_NE(one.source.create_key(one.top(), "K1", true), nullptr);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
}

TEST(StoredText, ASaveIsRefusedThatWouldNotLoad) {
  LoadedSource one("<R/>");
  EXPECT_EQ(one.source.set_value(one.top(), "v", std::string(10000000, 'x').c_str(), true),
            RESULT_IO_ERROR);
  EXPECT_EQ(read_file(one.path), "<R/>");
  EXPECT_EQ(one.source.set_value(one.top(), "v", "x", true), RESULT_SUCCESS);
}

TEST(StoredText, NestsAsDeepAsALoadAccepts) {
  LoadedSource one("<R/>");
  int depth = 0;
  for (void const *key = one.top(); key != nullptr; ++depth) {
    key = one.source.create_key(key, "K", false);
  }
  EXPECT_EQ(depth, 257);
  ASSERT_EQ(one.source.commit(), RESULT_SUCCESS);
  EXPECT_EQ(one.reloaded().result, RESULT_SUCCESS);
}

TEST(StoredText, AFileKeepsItsEncodingUnlessATextDoesNotFit) {
  LoadedSource one(LATIN);
  ASSERT_EQ(one.source.set_value(one.top(), nullptr, " ", false), RESULT_SUCCESS);
  ASSERT_NE(one.source.create_key(one.top(), "K", true), nullptr);
  EXPECT_EQ(one.source.set_value(one.top(), "v", "\xE2\x82\xAC\xC3\xA9", true), RESULT_SUCCESS);
  EXPECT_EQ(read_file(one.path), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                                 "<R v=\"&#8364;\xE9\"> <K/></R>\n");
  ASSERT_NE(one.source.create_key(one.top(), "\xE2\x82\xAC", true), nullptr);
  EXPECT_EQ(read_file(one.path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<R v=\"\xE2\x82\xAC\xC3\xA9\"> <K/><\xE2\x82\xAC/></R>\n");
}

TEST(StoredText, EncodingAndCommentsSurviveASave) {
  for (std::string const encoding : {"ISO-8859-1", "UTF-16", "US-ASCII", "UTF-8"}) {
    SCOPED_TRACE(encoding);
    std::string const text = "<?xml version=\"1.0\" encoding=\"" + encoding +
                             "\"?>\n<!-- 1 -->\n<!-- 2 -->\n<R xmlns:a=\"u\" xmlns:b=\"v&amp;w\" "
                             "v=\"A\"/>\n<!-- 3 -->\n";
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
