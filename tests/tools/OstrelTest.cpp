// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/units/Units.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <pty.h>
#include <regex.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

constexpr char const *SETTINGS = R"(<?xml version="1.0" encoding="UTF-8"?>
<UserConfig>
  <Sonar Range="4,5" Count="7" Active="yes" Reach="1.5 m" Off="" List="1 5:7"/>
  <Point x="1"/>
  <Point x="2">text</Point>
  <Aliases>
    <Alias name="Reach" value="UserConfig/Sonar/Reach"/>
    <Alias name="Short" value="UserConfig/x"/>
  </Aliases>
</UserConfig>
)";

// The first group of each match.
std::set<std::string> matches(std::string const &text, char const *pattern) {
  regex_t expression = {};
  EXPECT_EQ(regcomp(&expression, pattern, REG_EXTENDED), 0) << pattern;
  std::set<std::string> found;
  regmatch_t groups[2] = {};
  for (char const *at = text.c_str(); regexec(&expression, at, 2, groups, 0) == 0;
       at += groups[0].rm_eo) {
    found.emplace(at + groups[1].rm_so, at + groups[1].rm_eo);
  }
  regfree(&expression);
  return found;
}

// The tool, with a settings file, a malformed one, one with half an alias, and no settings at all.
class OstrelTool : public testing::Test {
protected:
  OstrelTool() {
    write_file(path("good/user-config.xml"), SETTINGS);
    write_file(path("bad/user-config.xml"), "<UserConfig>\n  <Sonar>\n</UserConfig>\n");
    write_file(path("half/user-config.xml"),
               "<UserConfig><A b='x'/><Aliases><Alias name='Half'/></Aliases></UserConfig>");
    write_file(path("registry.reg"), registry_file("\"InstallPath\"=\"" + path("none") + "\"\n"));
  }

  std::string path(std::string const &name) const { return directory_.path(name); }

  // Replaces each "@" by the temporary directory.
  std::string placed(std::string text) const {
    for (std::size_t at; (at = text.find('@')) != text.npos;) {
      text.replace(at, 1, directory_.path());
    }
    return text;
  }

  // Runs a line of words with the settings of a directory.
  ChildResult run(std::string const &line, std::string const &settings = "good") const {
    std::istringstream words(placed(line));
    std::string const registry = path("registry.reg"), config = path(settings);
    return run_program(
        OSTREL_PROGRAM, Words(std::istream_iterator<std::string>(words), {}),
        {{"OSTREL_REGISTRY_FILE", registry.c_str()}, {"OSTREL_CONFIG_PATH", config.c_str()}});
  }

  struct Case {
    char const *line;
    int status;
    char const *out;
    char const *err = ""; // a part; empty: nothing
    char const *settings = "good";
  };

  void check(Case const &c) const {
    SCOPED_TRACE(c.line);
    ChildResult const result = run(c.line, c.settings);
    EXPECT_EQ(result.status, c.status) << result.err;
    EXPECT_EQ(result.out, placed(c.out));
    EXPECT_NE(result.err.find(placed(c.err)), std::string::npos) << result.err;
    EXPECT_EQ(result.err.empty(), *c.err == '\0') << result.err;
  }

  json parse(std::string const &line) const {
    json document = json::parse(run("--json " + line).out, nullptr, false);
    EXPECT_TRUE(document.is_object() && document["schema"] == 1) << line;
    return document;
  }

private:
  TemporaryDirectory directory_;
};

TEST_F(OstrelTool, ReadsSettings) {
  Case const cases[] = {
      {"config get UserConfig/Sonar/Range", 0, "4,5\n"},
      {"config get UserConfig/Point:1/x", 0, "2\n"},
      {"config get $Reach", 0, "1.5 m\n"},
      {"config get $Reach --unit in", 0, "59.0551181102362\n"},
      {"config get UserConfig/Sonar/Count --unit m", 0, "0.07\n"},
      {"config get UserConfig/Sonar/Count --type long", 0, "7\n"},
      {"config get UserConfig/Sonar/Active --type bool", 0, "true\n"},
      {"config get UserConfig/Sonar/List --type series", 0, "1 5 6 7\n"},
      {"config get UserConfig/Sonar/Off --type series", 0, "\n"},
      {"config get UserConfig/Sonar/Range --type double", 3, "",
       "@/good/user-config.xml:3: UserConfig/Sonar/Range: '4,5' is not a number"},
      {"config get $Reach --unit sec", 3, "", "'1.5 m' is not a time"},
      {"config get $Half", 1, "", "WARN  - Unable to parse alias declaration", "half"},
      {"config get $Reach --unit metr", 1, "", "did you mean 'meter'?"},
      {"config get UserConfig/Sonar/Rnage", 1, "", "did you mean 'UserConfig/Sonar/Range'?"},
      {"config get UserConfig/Sonar/Absent", 1, "", "no setting 'UserConfig/Sonar/Absent'\n"},
      {"config get Sonar/Count", 2, "", "did you mean 'UserConfig/Sonar/Count'?"},
      {"config get UserConfig/Sonar/Rnage --default -1", 0, "-1\n"},
      {"config get $Raech", 1, "", "did you mean '$Reach'?"},
      {"config get $Raech/a/b", 1, "", "no alias '$Raech/a/b'"},
      {"config list $Raech/a/b", 1, "", "no alias '$Raech/a/b'"},
      {"config get UserConfig/Point:x/x", 2, "", "is not of the form"},
      {"config get UserConfig/Sonar/Count3", 1, "", "no setting 'UserConfig/Sonar/Count3'\n"},
      {"config get A/B/c --type bool --default YES", 0, "true\n"},
      {"config get A/B/c --type long --default 3.5", 2, "", "'3.5' is not a whole number"},
      {"config get $Raech --default 3", 0, "3\n", "no alias"},
      {"config get Reach", 2, "", "did you mean '$Reach'?"},
      {"config get $Short", 3, "", "stands for 'UserConfig/x'"},
      {"config get $Reach", 3, "", "there is no settings file; looked for: @/none/user", "none"},
      {"config get A/B/c --default 3", 0, "3\n", "there is no settings file", "none"},
      {"config get A/B/c --default 3", 3, "", "'@/bad/user-config.xml' cannot be read: line 3",
       "bad"},
      {"config get A/B/c --quiet", 3, "", "", "bad"},
      {"config get $Reach --config-path @/good", 0, "1.5 m\n", "", "none"},
      {"config list UserConfig/Point", 0, "UserConfig/Point:0/x = 1\nUserConfig/Point:1/x = 2\n"},
      {"config list UserConfig/Point:1/x --origin", 0,
       "@/good/user-config.xml:5: UserConfig/Point:1/x = 2\n"},
      {"config list UserConfig/Point:1/x --origin --color always", 0,
       "\x1b[2m@/good/user-config.xml:5: \x1b[0mUserConfig/Point:1/x = 2\n"},
      {"config list UserConfig/Pint", 1, "", "did you mean 'UserConfig/Point'?"},
      {"config list", 3, "", "there is no settings file", "none"},
      {"alias resolve Reach", 0, "UserConfig/Sonar/Reach\n"},
      {"alias resolve $Raech", 1, "", "did you mean '$Reach'?"},
  };
  for (Case const &c : cases) {
    check(c);
  }
}

TEST_F(OstrelTool, RepeatsNoMessageOfTheLibrary) {
  EXPECT_EQ(
      run("config get UserConfig/A/b --type long", "half").err,
      placed("WARN  - Unable to parse alias declaration in user configuration: Could not find "
             "'value' parameter.\n"
             "ostrel: @/half/user-config.xml:1: UserConfig/A/b: 'x' is not a whole number\n"));
}

TEST_F(OstrelTool, ExplainsASetting) {
  std::string const lines = run("config explain $Reach").out;
  for (char const *line :
       {"UserConfig/Sonar/Reach = 1.5 m\nfrom @/good/user-config.xml:3\n",
        "alias $Reach = UserConfig/Sonar/Reach (@/good/user-config.xml:7)\n",
        "  @/good/user-config.xml (environment OSTREL_CONFIG_PATH): this file, line 3: 1.5 m\n"}) {
    EXPECT_NE(lines.find(placed(line)), std::string::npos) << line << lines;
  }
  check({"config explain UserConfig/Sonar/Rnage --quiet --json", 1,
         run("config explain UserConfig/Sonar/Rnage --json").out.c_str()});
  write_file(path("place/user-config.xml/file"), "");
  EXPECT_NE(run("config explain A/B/c", "place").out.find("cannot be read: it is a directory"),
            std::string::npos);
  for (char const *line : {"config explain $Reach", "config explain A/B/c"}) {
    EXPECT_EQ(run(line, "bad").status, 3);
    EXPECT_NE(run(line, "bad").out.find("): cannot be read: line 3"), std::string::npos) << line;
    EXPECT_EQ(run(line, "none").status, 3);
  }
}

TEST_F(OstrelTool, ChangesTheFile) {
  struct {
    char const *line;
    int status;
    char const *err;            // a part
    char const *before, *after; // in the file; empty: the file does not change
  } const cases[] = {
      {"config set UserConfig/Sonar/Count=8 $Reach=2=2 --dry-run", 0, "", "", ""},
      {"config set UserConfig/Sonar/Count=8 $Raech=1", 1, "did you mean '$Reach'?", "", ""},
      {"config set UserConfig/Sonar/Count=8 Count=1", 2, "'Count' is not of the form", "", ""},
      {"config set UserConfig/Sonar/Count", 2, "is not of the form KEY=VALUE", "", ""},
      {"config set UserConfig/Sonar/Count=8 UserConfig/Sonar/Range=\x01", 2, "cannot be set", "",
       ""},
      {"config set UserConfig/Sonar/Count=8 Other/Sonar/Range=1", 2, "the top key", "", ""},
      {"config set UserConfig/A:2000000000/b=1", 2, "cannot be set", "", ""},
      {"config set UserConfig/Sonar/Cuont=8", 0, "'UserConfig/Sonar/Count'?", R"("1 5:7")",
       R"("1 5:7" Cuont="8")"},
      {"config unset UserConfig/Sonar/Count UserConfig/Sonar/Cuont", 1, "/Count'?", "", ""},
      {"config set UserConfig/Sonar/Count=8 $Reach=2=2", 0, "",
       R"(Count="7" Active="yes" Reach="1.5 m")", R"(Count="8" Active="yes" Reach="2=2")"},
      {"config unset UserConfig/Sonar/Active $Reach UserConfig/Sonar/Active", 0, "",
       R"( Active="yes" Reach="1.5 m")", ""},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.line);
    std::string expected = SETTINGS;
    expected.replace(expected.find(c.before), std::string(c.before).size(), c.after);
    write_file(path("good/user-config.xml"), SETTINGS);
    ChildResult const result = run(c.line);
    EXPECT_EQ(result.status, c.status) << result.err;
    EXPECT_NE(result.err.find(c.err), std::string::npos) << result.err;
    EXPECT_EQ(read_file(path("good/user-config.xml")), expected);
  }
  check({"config set A/B/c=1", 3, "", "no settings file", "none"});
  check({"config set UserConfig/B/c=0 UserConfig/B/c=1 UserConfig/Sonar/Count=7 --dry-run", 0,
         "@/good/user-config.xml: UserConfig/B/c: (not set) -> '1'\n"
         "@/good/user-config.xml: UserConfig/Sonar/Count: '7' -> '7'\n"});
  check({"config set UserConfig/Sonar/Count=1 --config-path @/none;@/good", 0, "",
         "the settings file is '@/good/user-config.xml'; '@/none/user-config.xml' does not exist"});
}

TEST_F(OstrelTool, AnswersWithoutSettings) {
  write_file(path("P/name"), "\177ELF");
  write_file(path("P/empty"), "");
  write_file(path("none/data/file"), "");
  Case const cases[] = {
      {"units convert -1.5 m in", 0, "-59.0551181102362\n"},
      {"units convert 1e2 cm m", 0, "1\n"},
      {"units convert 1 m sec", 2, "", "'m' is a unit of distance, but 'sec' is one of time"},
      {"units convert 1,5 m in", 2, "", "'1,5' is not a number"},
      {"units convert 1 metre in", 1, "", "did you mean 'meter'?"},
      {"units list angel", 1, "", "did you mean 'angle'?"},
      {"result not_found", 0,
       "RESULT_NOT_FOUND (10): The requested item or information was not found.\n"},
      {"result RESULT_NOT_FUOND", 1, "", "did you mean 'RESULT_NOT_FOUND'?"},
      {"result 28", 1, "", "the last one is 27"},
      {"result -1", 1, "", "the last one is 27"},
      {"completion fish", 2, "", "fish not in {bash,zsh}"},
      {"units convert inf m in", 2, "", "'inf' is not a number"},
      {"units convert 1e308 m mm", 2, "", "too large"},
      {"units convert 1 KM in", 1, "", "no unit 'KM'\n"},
      {"path show data", 0, "@/none/data (registry InstallPath)\n"},
      {"path show slam-landmark", 0, "@/none/data/slam (registry InstallPath)\n"},
      {"path show dta", 1, "", "did you mean 'data'?"},
      {"path find data file", 0, "@/none/data/file\n"},
      {"path find data fiel", 1, "",
       "looked in: @/none/data (registry InstallPath); did you mean 'file'?"},
      {"lib find @/P/name", 0, "@/P/name\n"},
      {"lib find @/P/nam", 1, "", "'@/P/nam'"},
      {"lib find @/P/empty", 3, "", "a load takes '@/P/empty' and fails: it is no library"},
      {"lib find nowhere", 1, "", "'nowhere.so' along PATH"},
      {"confg list", 2, "", "no command 'confg'; did you mean 'config'?"},
      {"config gte x", 2, "", "did you mean 'get'?"},
      {"config get x --tpye=a", 2, "", "did you mean '--type'?"},
      {"config --quiet", 2, "", "a command is missing"},
      {"--color", 2, "", "--color"},
      {"config check @/no", 1, "@/no: there is no such file: name a file that exists\n"},
      {"result", 2, "", "CODE is required"},
      {"--version", 0, "ostrel 0.1.0\n"},
  };
  for (Case const &c : cases) {
    check(c);
  }
  EXPECT_EQ(run_program("/bin/sh", {"-c", OSTREL_PROGRAM " result 0 >/dev/full"}).status, 4);
}

// The tool has a copy of the library's rules.
TEST(LibraryFind, FindsWhatALoadTakes) {
  std::string const plugins = TEST_PLUGINS, second = plugins + "/second";
  for (std::string const &path : {plugins + "/P:" + second + ";" + plugins + "/first", second + ":",
                                  ";:C:" + plugins + "\\first:" + second}) {
    for (char const *variable : {"PATH", "OSTREL_LIBRARY_PATH"}) {
      ChildResult const found =
          run_program(OSTREL_PROGRAM, {"lib", "find", "plugin"}, {{variable, path.c_str()}});
      ASSERT_EQ(setenv("OSTREL_LIBRARY_PATH", path.c_str(), 1), 0);
      Ostrel::ISharedLibrary *const library = Ostrel::Platform::create_shared_library();
      library->set_name("plugin");
      library->load();
      void *place = nullptr;
      ASSERT_EQ(library->get_symbol("plugin_place", &place), 0U) << path;
      EXPECT_EQ(found.out, plugins + "/" + static_cast<char const *>(place) +
                               "/plugin.so (environment " + variable + ")\n");
      library->remove_ref();
      unsetenv("OSTREL_LIBRARY_PATH");
    }
  }
}

TEST_F(OstrelTool, PrintsJson) {
  struct {
    char const *line, *pointer;
    json value;
  } const cases[] = {
      {"--version", "/version", "0.1.0"},
      {"config get $Reach --unit cm", "/value", 150.0},
      {"config get UserConfig/Sonar/List --type series", "/value", {1, 5, 6, 7}},
      {"config get A/B/c --type long --default 3", "/value", 3},
      {"config get A/B/c --default 3", "/value", "3"},
      {"config list $Reach", "/key", "UserConfig/Sonar/Reach"},
      {"config set UserConfig/B/c=1 --dry-run", "/changes/0/old", nullptr},
      {"config set UserConfig/Sonar/Count=8", "/changes/0/old", "7"},
      {"config unset UserConfig/Sonar/Active", "/changes/0/new", nullptr},
      {"config get UserConfig/Sonar/Rnage --quiet", "/status", 1},
      {"confg get", "/error",
       "there is no command 'confg'; did you mean 'config'? (see ostrel --help)"},
      {"config explain $Reach", "/places/0/state", "loaded"},
      {"config explain $Reach", "/aliases/0/line", 7},
      {"alias resolve Reach", "/key", "UserConfig/Sonar/Reach"},
      {"units convert 1 m cm", "/value", 100.0},
      {"path show data", "/properties/data/0/origin", "registry"},
      {"result 10", "/name", "RESULT_NOT_FOUND"},
      {"completion bash", "/shell", "bash"},
  };
  for (auto const &c : cases) {
    json const document = parse(c.line);
    json::json_pointer const pointer(c.pointer);
    EXPECT_TRUE(document.contains(pointer) && document[pointer] == c.value) << c.line << document;
  }
}

// Runs the tool on a terminal, and returns what appears there.
std::string on_terminal(std::vector<std::string> words) {
  words.insert(words.begin(), OSTREL_PROGRAM);
  std::vector<char *> arguments;
  for (std::string &word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  int terminal = -1;
  pid_t const child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    execv(OSTREL_PROGRAM, arguments.data());
    _exit(127);
  }
  std::string text;
  for (char byte; read(terminal, &byte, 1) == 1;) {
    text += byte;
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  return text;
}

TEST_F(OstrelTool, EscapesControlCharactersOnATerminal) {
  write_file(path("good/user-config.xml"),
             "<UserConfig><A b='x&#10;&#x7F;&#x9B;31m &#xE9;'/></UserConfig>");
  Words const get = {"--config-path", path("good"), "config", "get", "UserConfig/A/b"};
  EXPECT_EQ(on_terminal(get), "x\\n\\x7f\\xc2\\x9b31m \xC3\xA9\r\n");
  EXPECT_EQ(run("config get UserConfig/A/b").out, "x\n\x7F\xC2\x9B"
                                                  "31m \xC3\xA9\n");
  std::string const messages =
      on_terminal({"--config-path", path("good"), "config", "set", "UserConfig/A/1\x1b[31m=1"});
  EXPECT_NE(messages.find("set value '1\\x1b[31m'"), messages.npos) << messages;
  EXPECT_EQ(messages.find('\x1b'), messages.npos) << messages;
  EXPECT_EQ(on_terminal({"result", "\x1b[31m"}), "ostrel: there is no result code '\\x1b[31m'\r\n");
}

// Every name of the table in the header, and no other.
TEST_F(OstrelTool, ListsTheUnitsOfTheLibrary) {
  std::istringstream lines(run("units list --json").out);
  std::set<std::string> listed, documented;
  for (std::string line; std::getline(lines, line);) {
    json const unit = json::parse(line);
    listed.insert(unit["name"]);
    int const type = unit["kind"] == "distance" ? 0 : unit["kind"] == "angle" ? 1 : 2;
    EXPECT_TRUE(Ostrel::Units::are_valid_units(Ostrel::UnitType(type), unit["name"])) << line;
  }
  std::string const header = read_file(SOURCE_TREE "/core/base/units/Units.hpp");
  for (std::string const &row : matches(header, R"(/// \| [a-z^]+ +\| [0-9p][^|]+\| ([^|]+)\|)")) {
    documented.merge(matches(row, "([A-Za-z]+)"));
  }
  EXPECT_EQ(listed, documented);
}

// The completions are made from the command line itself.
TEST_F(OstrelTool, ManualHasEveryCommandAndOption) {
  std::string const script = run("completion bash").out;
  std::string manual = read_file(SOURCE_TREE "/tools/ostrel/ostrel.1");
  for (std::size_t at = manual.find("\\-"); at != manual.npos; at = manual.find("\\-", at)) {
    manual.erase(at, 1);
  }
  EXPECT_EQ(matches(manual, R"(\\fBostrel ([a-z ]+)\\fR)"),
            matches(script, R"('([a-z ]+)'\) candidates='--)")); // without the groups
  EXPECT_EQ(matches(manual, "(--[a-z-]+)"), matches(script, "[ '](--[a-z-]+)"));
}

} // namespace
