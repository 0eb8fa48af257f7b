// SPDX-License-Identifier: Apache-2.0
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace Ostrel;

std::string with_entities(std::string const &declarations, std::string const &content) {
  return "<!DOCTYPE R [" + declarations + "]><R>" + content + "</R>";
}

// Each entity is ten times the one before.
std::string laughs() {
  std::string declarations = "<!ENTITY e0 '0123456789'>";
  for (int i = 1; i < 12; ++i) {
    declarations += "<!ENTITY e" + std::to_string(i) + " '" +
                    repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  return declarations;
}

TEST(HostileFile, DoesNotParse) {
  std::string const kilobytes_50(50000, 'x'), entity = "<!ENTITY e '" + kilobytes_50 + "'>";
  std::string const too_long(10000001, 'x');
  struct {
    char const *what;
    std::string content;
    char const *reason = "DEBUG - "; // the prefix of a debug message
  } const cases[] = {
      {"no root element", "<?xml version='1.0'?>"},
      {"cut off", "<p:R>\n<K", "DEBUG - line 2, column "},
      {"bad characters", "<?xml version='1.0' encoding='UTF-8'?><R>" + repeated("\xFF", 100000)},
      {"unknown encoding", "<?xml version='1.0' encoding='nonsense'?><R/>"},
      {"too deep", repeated("<K>", 258) + repeated("</K>", 258)},
      {"external entity", with_entities("<!ENTITY e SYSTEM '/etc/passwd'>", ""),
       "DEBUG - it declares an external entity"},
      {"parameter entity", with_entities("<!ENTITY % p '<!ENTITY a \"A\">'>%p;", "&a;"),
       "DEBUG - it declares an external entity or a parameter entity"},
      {"unparsed entity",
       with_entities("<!NOTATION n SYSTEM 'n'><!ENTITY e SYSTEM 'e' NDATA n>", "")},
      {"many references", with_entities(entity, repeated("&e;", 50000))},
      {"nested entities", with_entities(laughs(), "&e11;")},
      {"entity that is declared after its use",
       "<!DOCTYPE R SYSTEM 'x' [<!ENTITY a '" + repeated("&b;", 100) +
           "'><!ATTLIST K v CDATA '&a;'>" + "<!ENTITY b '" + kilobytes_50 + "'>]><R>" +
           repeated("&a;", 20) + "</R>"},
      {"entities that nest too deep",
       with_entities("<!ENTITY a '" + repeated("<K>", 200) + "&b;" + repeated("</K>", 200) +
                         "'><!ENTITY b '" + repeated("<K>", 100) + repeated("</K>", 100) + "'>",
                     "<L/>&a;")},
      {"too long text", "<R>" + too_long + "</R>"},
      {"too many blanks", "<R><K/>" + repeated(" ", 10000001) + "<K/></R>"},
      {"too long value", "<R v='" + too_long + "'/>"},
      {"too long value out of entities", "<!DOCTYPE R [<!ENTITY e '" + std::string(1100000, 'x') +
                                             "'>]><R v='" + repeated("&e;", 10) + "'/>"},
      {"too many values", "<R" + repeated(" a@=''", 40000) + "/>",
       "DEBUG - a key has too many named values"},
      {"too many namespaces",
       "<R" + repeated(" xmlns:n@='u'", 40000) + ">" + repeated("<n@:K/>", 40000) + "</R>",
       "DEBUG - it has too many namespaces"},
      {"too many names", "<R>" + repeated("<K@/>", 100101) + "</R>"},
      {"many elements",
       with_entities("<!ENTITY e '" + repeated("<K/>", 10000) + "'>", repeated("&e;", 10))},
      {"too many choices",
       with_entities("<!ATTLIST R v (" + repeated("t@|", 400000) + "t) 't'>", "")},
      {"entity in itself", with_entities("<!ENTITY a '&b;&b;'><!ENTITY b '&a;&a;'>", "&a;")}};
  CapturedLog log("Ostrel.Core.Base.XmlConfigSource");
  LoggingCategory &category = LoggingCategory::get_instance("Ostrel.Core.Base.XmlConfigSource");
  category.set_priority(LoggingPriority::DEBUG);
  for (auto const &c : cases) {
    SCOPED_TRACE(c.what);
    testing::internal::CaptureStderr();
    LoadedSource const one(c.content);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(one.result, RESULT_FAILURE);
    EXPECT_EQ(one.top(), nullptr);
    std::vector<std::string> const lines = log.take();
    ASSERT_EQ(lines.size(), 3u); // the path at trace, the fault at debug, the warning
    EXPECT_EQ(lines[0], "TRACE  - Loading '" + one.path + "' [xmlconfigsource]");
    EXPECT_EQ(lines[1].substr(0, std::strlen(c.reason)), c.reason);
    EXPECT_EQ(lines[2], "WARN  - Failed to parse config file " + one.path);
  }
  category.set_priority(LoggingPriority::NOT_SET);
}

TEST(HostileFile, ParsesWhatIsHarmless) {
  struct {
    char const *what;
    std::string content, text;
  } const cases[] = {
      {"external subset", "<!DOCTYPE R SYSTEM '/etc/passwd'><R>t</R>", "t"},
      {"entities", with_entities("<!ENTITY a 'A'><!ENTITY b '&a;B&#38;amp;'>", "&b;&b;"), "AB&AB&"},
      {"1 MB out of little",
       with_entities("<!ENTITY e '" + std::string(50000, 'x') + "'>", repeated("&e;", 20)),
       std::string(1000000, 'x')},
      {"elements",
       with_entities("<!ENTITY e '" + repeated("<K/>", 2000) + "'>", repeated("&e;", 15)), ""},
      {"defaulted values",
       with_entities("<!ATTLIST K" + repeated(" a@ CDATA ''", 2000) + ">",
                     "t" + repeated("<K/>", 5000)),
       "t"},
      {"as many namespaces as it may have", "<R" + repeated(" xmlns:n@='u'", 256) + ">t</R>", "t"},
      {"as deep as it goes", repeated("<K>", 257) + "t" + repeated("</K>", 257), "t"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.what);
    LoadedSource const one(c.content);
    EXPECT_EQ(one.result, RESULT_SUCCESS);
    EXPECT_EQ(one.values(one.top()).substr(0, 99), ("[=" + c.text + "]").substr(0, 99));
  }
}

// The parser treats long blanks, and those at the end of its buffer, as text.
TEST(HostileFile, OnlyBlanksBetweenTagsAreDropped) {
  std::string const few(249, ' '), many = repeated("\r\n", 3999), read = repeated("\n", 3999);
  std::pair<std::string, std::string> const cases[] = {
      {"<R>" + few + "<A>" + few + "</A>" + few + " <B/></R>", "[=" + few + "]"},
      {"<R>" + many + "<A>" + many + "a</A>" + many + "\n<B/></R>", "[=" + read + "a]"},
      {"<R xml:space='preserve'> <A/> </R>", "[=][space=preserve]"},
      {"<R><A/>a<B/> <C/></R>", "[=a]"},
      {"<R><A/> \xC3\xA9\n<B/>\n</R>", "[= \xC3\xA9\n]"},
      {"<R><A/>> <B/>\n</R>", "[=> ]"},
      {"<R>a<A/> <B/>\n</R>", "[=a]"},
      {"<R> a <A/>\tb\n<B/></R>", "[= a \tb\n]"},
      {"<R> <!-- c --> </R>", "[=]"},
      {"<R>\n</R>", "[=\n]"},
      {"<R><A/><![CDATA[ ]]> <B/></R>", "[=  ]"},
      {"<R><![CDATA[b]]> <![CDATA[c]]></R>", "[=b c]"},
      {"<R> <!-- c -->a<!-- d --> <!-- e -->b<A/> <!-- f --> </R>", "[= a b]"},
      {"<!DOCTYPE R [<!ENTITY e 'e'>]><R><A/>&e; <B/> &e;</R>", "[=e  e]"}};
  for (auto const &[content, values] : cases) {
    LoadedSource one(content);
    EXPECT_EQ(one.values(one.top()), values) << content;
    EXPECT_EQ(one.source.commit(), RESULT_SUCCESS);
    LoadedSource const again = one.reloaded();
    EXPECT_EQ(again.values(again.top()), values) << content;
  }
}

} // namespace
