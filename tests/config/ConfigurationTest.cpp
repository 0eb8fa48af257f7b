// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/Configuration.hpp"
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <tuple>
#include <utility>

namespace {

using namespace Ostrel;
using Lines = std::vector<std::string>;

constexpr char CATEGORY[] = "Ostrel.Core.Base.Configuration";

// A facade over a file.
class Facade : public LoadedSource {
public:
  explicit Facade(std::string const &content) : LoadedSource(content), facade(source) {}

  Configuration facade;
};

std::string value_of(Configuration const &configuration, void const *key) {
  std::string text;
  return configuration.get_value(key, nullptr, "v", &text) == RESULT_SUCCESS ? text : "-";
}

TEST(KeyPath, NamesOneKeyWhileItExists) {
  Facade one(
      "<U v='U'><A v='A0'><B v='B0'/></A><C v='C'/><A v='A1'><B v='B1'/><B v='B2'/></A></U>");
  // A path, '=' and the value of its key; "-" for no such key.
  std::istringstream cases(R"(U=U U/A=A0 \U\A:1=A1 //U/\A:1//B:1=B2 U/A:2=- u/A=- A=- =- /=-
      U/:1=C U/:3=- U/:2/B=B1 :0=U :1=- U/A:1x/B=A1 U/A:x/B=A0 U/A:-5=A0 U/A:+1=A1 U/A:/B=B0
      U/A/=A0 U/A:1/=A1 U/A:1//\=A1 U/A:2147483648=- U/A:4294967296=- U/A/B/D=-
      U/A:99999999999999999999=- U/A:-99999999999999999999=A0)");
  for (std::string row; cases >> row;) {
    SCOPED_TRACE(row);
    std::size_t const at = row.find('=');
    void const *key = one.facade.find_key(row.substr(0, at).c_str());
    EXPECT_EQ(value_of(one.facade, key), row.substr(at + 1));
  }
  EXPECT_EQ(one.facade.set_value("U", nullptr, "text", false), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.find_key("U/A"), nullptr);
}

TEST(Configuration, CreatesTheKeysOfAPath) {
  Facade one("<U/>");
  CapturedLog log(CATEGORY);
  CapturedLog const source_log("Ostrel.Core.Base.XmlConfigSource");
  for (char const *path : {"U/A/B", "U/A/B//", "/U\\\\C", "U/A:1/D", "U/A:1", "U/C:2"}) {
    EXPECT_NE(one.facade.create_key(path), nullptr) << path;
  }
  EXPECT_EQ(log.take(), Lines{});
  std::pair<char const *, std::size_t> const refused[] = {
      {"U", 1}, {"X/Y", 1},  {"X:1/Y", 1}, {"U/C:2147483648", 1}, {"U/:2000000000", 0},
      {"/", 0}, {nullptr, 0}};
  for (auto const &[path, warnings] : refused) {
    SCOPED_TRACE(path == nullptr ? "null" : path);
    EXPECT_EQ(one.facade.create_key(path), nullptr);
    EXPECT_EQ(log.take().size(), warnings);
  }
  EXPECT_EQ(read_file(one.path),
            "<?xml version=\"1.0\"?>\n<U>\n  <A>\n    <B/>\n    <B/>\n  </A>\n  <C/>\n  <A>\n"
            "    <D/>\n  </A>\n  <C/>\n  <C/>\n</U>\n");
}

// A document that is not saved, so that edits do not wait for the disk.
class Unsaved : public Facade {
public:
  Unsaved() : Facade("<R/>") {
    source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, "/nowhere/file.xml", "R");
  }
};

// The look-up of existing keys and the creation of missing ones is atomic.
TEST(Configuration, ThreadsThatCreateSubKeysAgreeOnTheirNumber) {
  for (int round = 0; round < 20; ++round) {
    Unsaved one;
    void const *const top = one.top();
    std::atomic<int> waiting{4};
    in_threads(4, [&](int thread) {
      for (--waiting; waiting > 0;) {
      }
      one.facade.create_sub_key(top, "S:20", false);
      one.facade.create_key(("R/New/K" + std::to_string(thread)).c_str());
      one.facade.create_key(("R/S:20/New:5/K" + std::to_string(thread)).c_str());
    });
    EXPECT_NE(one.facade.find_key("R/New"), nullptr);
    EXPECT_EQ(one.facade.find_key("R/New:1"), nullptr);
    EXPECT_NE(one.facade.find_key("R/S:20/New:5"), nullptr);
    EXPECT_EQ(one.facade.find_key("R/S:21"), nullptr);
    EXPECT_EQ(one.facade.find_key("R/S:20/New:6"), nullptr);
  }
}

TEST(Configuration, CreatesSubKeysUpToAnIndex) {
  Facade one("<U><A/></U>");
  CapturedLog log(CATEGORY);
  void const *third = one.facade.create_sub_key(one.top(), "A:2", false);
  EXPECT_EQ(one.facade.find_key("U/A:2"), third);
  EXPECT_EQ(one.facade.create_sub_key(one.top(), "A:2", false), third);
  EXPECT_EQ(one.facade.create_sub_key(one.top(), "A:0", false), one.below(one.top()));
  EXPECT_EQ(one.facade.find_key("U/A:3"), nullptr);
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(one.facade.create_sub_key(nullptr, "A", false), nullptr);
  EXPECT_EQ(log.take(), Lines{"WARN  - Can't create new root key"});
  EXPECT_NE(one.facade.create_sub_key(one.top(), std::string(1011, 'n').c_str(), false), nullptr);
  EXPECT_EQ(read_file(one.path), "<U><A/></U>");
  for (std::string const &refused : {std::string(1012, 'n'), std::string("A:2147483648")}) {
    EXPECT_EQ(one.facade.create_sub_key(one.top(), refused.c_str(), false), nullptr);
    EXPECT_EQ(log.take().size(), 1u);
  }
  EXPECT_EQ(one.facade.create_sub_key(one.top(), nullptr, false), nullptr);
}

// Sets a number by path and by handle and reads it back by both. Returns the values of the key.
template <class Number> std::string stored(Number number, bool commit) {
  constexpr char CONTENT[] = "<U><K/></U>";
  Facade one(CONTENT);
  Number by_path = 0, by_key = 0;
  EXPECT_EQ(one.facade.set_value("U/K", "p", number, commit), RESULT_SUCCESS);
  EXPECT_EQ(read_file(one.path) != CONTENT, commit);
  write_file(one.path, CONTENT);
  EXPECT_EQ(one.facade.set_value(one.top(), "K", "k", number, commit), RESULT_SUCCESS);
  EXPECT_EQ(read_file(one.path) != CONTENT, commit);
  EXPECT_EQ(one.facade.get_value("U/K", "k", &by_path), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.get_value(one.top(), "K", "p", &by_key), RESULT_SUCCESS);
  EXPECT_EQ(std::pair(by_path, by_key), std::pair(number, number));
  return one.values(one.below(one.top()));
}

TEST(Configuration, NumbersAreStoredAsText) {
  for (bool const commit : {false, true}) {
    EXPECT_EQ(stored(LONG_MIN, commit), "[=][p=-9223372036854775808][k=-9223372036854775808]");
    EXPECT_EQ(stored(ULONG_MAX, commit), "[=][p=18446744073709551615][k=18446744073709551615]");
    EXPECT_EQ(stored(0.5, commit), "[=][p=0.500000000000][k=0.500000000000]");
  }
  Facade one("<U v='12abc' w='abc'/>");
  for (auto const &[name, expected] : {std::pair("v", 12), std::pair("w", 0)}) {
    long number = -1;
    unsigned long natural = 1;
    double real = -1;
    EXPECT_EQ(one.facade.get_value("U", name, &number), RESULT_SUCCESS);
    EXPECT_EQ(one.facade.get_value("U", name, &natural), RESULT_SUCCESS);
    EXPECT_EQ(one.facade.get_value("U", name, &real), RESULT_SUCCESS);
    EXPECT_EQ(std::tuple(number, natural, real), std::tuple(expected, expected, expected));
  }
}

Role const numbers_in_locale("numbers-in-locale", [](Role::Arguments const &) {
  bool const is_set = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
  Facade one("<U r='1.75x' c='2,5'/>");
  std::string text;
  double real = 0, comma = 1;
  one.facade.set_value("U", "d", 0.5, false);
  one.facade.set_value("U", "i", HUGE_VAL, false); // "inf", without a separator
  one.facade.get_value("U", "d", &text);
  one.facade.get_value("U", "r", &real);
  one.facade.get_value("U", "c", &comma);
  return is_set && text == "0.500000000000" && real == 1.75 && comma == 2.0 ? 0 : 1;
});

TEST(Configuration, NumbersDoNotDependOnTheLocale) {
  TemporaryDirectory const locales;
  std::string const make = "localedef -i de_DE -f UTF-8 " + locales.path("de_DE.UTF-8");
  ASSERT_EQ(std::system(make.c_str()), 0) << "needs Debian's package 'locales'";
  Environment const environment = {{"LOCPATH", locales.path().c_str()}};
  EXPECT_EQ(run_child("numbers-in-locale", {}, environment).status, 0);
}

TEST(Configuration, MissingValues) {
  Facade one("<U v='1'>t<K v='2' w='3'><L/><M/></K></U>");
  CapturedLog log(CATEGORY);
  std::string text, *const no_text = nullptr;
  long *const no_number = nullptr;
  EXPECT_EQ(one.facade.get_value("U/X", "v", &text), RESULT_NOT_FOUND);
  EXPECT_EQ(one.facade.get_value("U", "w", &text), RESULT_NOT_FOUND);
  EXPECT_EQ(one.facade.get_value("U", "v", no_text), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.facade.get_value("U/X", "v", no_number), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(one.facade.set_value("U/X", "v", "2", false), RESULT_NOT_FOUND);
  EXPECT_EQ(log.take(), Lines{"WARN  - Can't find key 'U/X'"});
  EXPECT_EQ(one.facade.set_value(one.top(), "X", "v", "2", false), RESULT_SUCCESS);
  for (char const *name : {static_cast<char const *>(nullptr), ""}) {
    EXPECT_EQ(one.facade.get_value("U", name, &text), RESULT_SUCCESS);
    EXPECT_EQ(text, "t");
  }
  EXPECT_EQ(one.facade.delete_value("U", ""), RESULT_FAILURE);
  EXPECT_EQ(one.facade.delete_value("U", "w"), RESULT_NOT_FOUND);
  EXPECT_EQ(one.facade.delete_value("X", "w"), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.facade.delete_value(one.top(), "K", nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.facade.delete_value("U", "v"), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.delete_key("U/X"), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.facade.delete_key(one.top(), nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.values(one.top()), "[=t]");
  void const *const key = one.below(one.top());
  EXPECT_EQ(one.facade.delete_value("U/K", "v"), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.delete_value(one.top(), "K", "w"), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.delete_key("U/K/L"), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.delete_key(one.top(), "K/M"), RESULT_SUCCESS);
  EXPECT_EQ(one.values(key), "[=]");
  EXPECT_EQ(one.below(key), nullptr);
  EXPECT_EQ(one.facade.delete_key(key), RESULT_SUCCESS);
  EXPECT_EQ(one.below(one.top()), nullptr);
}

TEST(Configuration, ReadsSeries) {
  Facade one("<U><K/></U>");
  auto const series = [&one](char const *text, unsigned int count) {
    EXPECT_EQ(one.facade.set_value("U/K", "s", text, false), RESULT_SUCCESS);
    long numbers[10];
    EXPECT_EQ(one.facade.get_series(one.top(), "K", "s", numbers, &count), RESULT_SUCCESS);
    std::string all;
    for (unsigned int i = 0; i < count; ++i) {
      all += " " + std::to_string(numbers[i]);
    }
    return all;
  };
  EXPECT_EQ(series("x-, 1 - 2 5:8 -3", 10), " 1 2 5 6 7 8 -3");
  EXPECT_EQ(series("1 2 5:8 -3", 4), " 1 2 5 6");
  EXPECT_EQ(series("7", 0), "");
  EXPECT_EQ(series("::3 1::-2", 10), " 3 0 -1 -2");
  long number = 0;
  unsigned int count = 1;
  EXPECT_EQ(one.facade.get_series("U/K", "s", &number, &count), RESULT_SUCCESS);
  EXPECT_EQ(number, 3);
  EXPECT_EQ(one.facade.get_series("U", "none", &number, &count), RESULT_NOT_FOUND);
  EXPECT_EQ(one.facade.get_series("X", "s", &number, &count), RESULT_INVALID_ARGUMENT);
  void const *const top = one.top();
  EXPECT_EQ(one.facade.get_series(top, nullptr, "s", nullptr, &count), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.facade.get_series(top, nullptr, nullptr, &number, &count), RESULT_INVALID_ARGUMENT);
}

struct DerivedFacade : Configuration {
  using Configuration::Configuration;
  using Configuration::find_indexed_key_with_value;
  using Configuration::find_sub_key;
  using Configuration::find_value;
};

TEST(Configuration, FindsKeysByAValuesText) {
  LoadedSource one(
      "<R><D n='cam' v='0'/><D n='laser' v='1'/><E n='cam'/><D n='cam' v='2'>t</D></R>");
  DerivedFacade const configuration(one.source);
  CapturedLog log(CATEGORY);
  auto const found = [&](char const *name, char const *text) {
    return value_of(configuration, configuration.find_key_with_value("R/D", name, text));
  };
  EXPECT_EQ(found("n", "laser"), "1");
  EXPECT_EQ(found("", "t"), "2");
  EXPECT_EQ(found("n", "radar"), "-");
  EXPECT_EQ(found("n", nullptr), "-");
  void const *first = configuration.find_key("R/D");
  void const *second = configuration.find_indexed_key_with_value(first, 1, "n", "cam");
  EXPECT_EQ(value_of(configuration, second), "2");
  EXPECT_EQ(configuration.find_indexed_key_with_value(first, 2, "n", "cam"), nullptr);
  EXPECT_EQ(configuration.find_key_with_value(one.top(), "X", "n", "cam"), nullptr);
  EXPECT_EQ(configuration.find_key_with_value(one.top(), "D", "n", "cam"), first);
  EXPECT_EQ(configuration.find_sub_key(one.top(), "D"), first);
  std::string text;
  EXPECT_NE(configuration.find_value(one.top(), "D:1", "n", &text), nullptr);
  EXPECT_EQ(text, "laser");
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(configuration.find_key_with_value("R/X", "n", "cam"), nullptr);
  EXPECT_EQ(configuration.find_indexed_key_with_value(nullptr, 0, "n", "cam"), nullptr);
  EXPECT_EQ(log.take(), (Lines{"WARN  - Can't find key 'R/X'",
                               "WARN  - Failure in find_indexed_key_with_value"}));
}

TEST(Configuration, LogsTheReasonOfAFailedLoad) {
  Facade one("<Resources/>");
  CapturedLog log(CATEGORY);
  CapturedLog const source_log("Ostrel.Core.Base.XmlConfigSource");
  EXPECT_EQ(one.facade.init_source(one.path.c_str()), RESULT_SUCCESS);
  EXPECT_EQ(one.facade.get_config_root(), IConfigSource::CONFIG_ROOT_RESOURCES);
  EXPECT_EQ(one.facade.init_source("none.xml"), RESULT_NOT_FOUND);
  EXPECT_EQ(one.facade.get_config_root(), IConfigSource::CONFIG_ROOT_NONE);
  EXPECT_EQ(one.facade.init_source(nullptr), RESULT_INVALID_ARGUMENT);
  char const *const path = one.directory.path().c_str();
  EXPECT_EQ(one.facade.init_source(IConfigSource::CONFIG_ROOT_SEMANTICS, path), RESULT_NOT_FOUND);
  EXPECT_EQ(one.facade.get_config_root(), IConfigSource::CONFIG_ROOT_SEMANTICS);
  EXPECT_EQ(log.take(), (Lines{"WARN  - Failed to initialize source 'none.xml'",
                               "WARN  - Failed to initialize source ''",
                               "WARN  - Failed to initialize source: The requested item or "
                               "information was not found."}));
}

} // namespace
