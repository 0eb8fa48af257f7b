// SPDX-License-Identifier: Apache-2.0
// Set-ups with one mistake each, and sound ones. `config check` and `doctor` must name the mistakes
// and nothing else. Each file *.txt beside this one has several set-ups, of lines:
//   mistake TITLE, sound TITLE   begins a set-up
//   settings LINE                a line of user-config.xml, inside <UserConfig>, which is line 1
//   file NAME                    a file; its lines follow, each after "| "; \xNN is a byte
//   dir NAME, link NAME TARGET, mode OCTAL NAME
//   env NAME=VALUE               a variable; @ is the directory of the set-up; without =: not set
//   cwd NAME                     the current directory; without it, that of the set-up
//   check NAME...                files for `config check`; without it, the settings file
//   expect WHERE CORRECTION      a line of the output contains both
// Unless a set-up says otherwise, OSTREL_CONFIG_PATH is its directory.
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fnmatch.h>

namespace {

namespace fs = std::filesystem;

// Splits at the first blank.
std::pair<std::string, std::string> cut(std::string const &text) {
  std::size_t const blank = text.find(' ');
  return {text.substr(0, blank), blank == text.npos ? "" : text.substr(blank + 1)};
}

std::string replaced(std::string text, std::string const &from, std::string const &to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string with_bytes(std::string text) {
  for (std::size_t at; (at = text.find("\\x")) != text.npos;) {
    text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)));
  }
  return text;
}

class Situation {
public:
  Situation(bool is_sound, std::string title) : is_sound_(is_sound), title_(std::move(title)) {
    fs::permissions(directory_.path(), fs::perms(0755));
    environment_["OSTREL_CONFIG_PATH"] = directory_.path();
  }

  void add(std::string const &line) {
    auto const [word, rest] = cut(line);
    auto const [first, second] = cut(rest);
    if (word == "settings") {
      settings_ += rest + "\n";
    } else if (word == "file") {
      text_ = &files_[rest];
    } else if (word == "|") {
      *text_ += placed(with_bytes(rest)) + "\n";
    } else if (word == "dir") {
      fs::create_directories(path(rest));
    } else if (word == "link") {
      links_[first] = second;
    } else if (word == "mode") {
      modes_[second] = static_cast<fs::perms>(std::stoi(first, nullptr, 8));
    } else if (word == "env") {
      std::string const name = rest.substr(0, rest.find('='));
      environment_[name] =
          rest == name ? std::nullopt : std::optional(placed(rest.substr(name.size() + 1)));
    } else if (word == "cwd") {
      current_ = path(rest);
    } else if (word == "check") {
      std::istringstream names(rest);
      for (std::string name; names >> name;) {
        checked_.push_back(path(name));
      }
    } else if (word == "expect") {
      expected_.emplace_back(first, placed(second));
    } else {
      ADD_FAILURE() << title_ << ": unknown line: " << line;
    }
  }

  void run() {
    SCOPED_TRACE(title_);
    write();
    std::map<std::string, std::uintmax_t> const before = sizes();
    ChildResult const check = run_tool({"config", "check"}, checked_);
    ChildResult const doctor = run_tool({"doctor"}, {});
    EXPECT_EQ(sizes(), before);
    std::string const out = check.out + doctor.out;
    if (is_sound_) {
      EXPECT_EQ(out, "");
      EXPECT_TRUE(check.status == 0 && doctor.status == 0) << check.status << doctor.status;
      return;
    }
    EXPECT_TRUE(check.status == 3 || check.status == 5 || doctor.status == 5)
        << check.status << doctor.status << check.err << doctor.err;
    for (auto const &[where, correction] : expected_) {
      EXPECT_TRUE(has_line(out, where, correction)) << where << " " << correction << "\n" << out;
    }
    EXPECT_FALSE(expected_.empty());
  }

private:
  std::string path(std::string const &name) const { return directory_.path(name); }
  std::string placed(std::string const &text) const {
    return replaced(text, "@", directory_.path());
  }

  void write() {
    if (!settings_.empty()) {
      files_["user-config.xml"] = "<UserConfig>\n" + settings_ + "</UserConfig>\n";
    }
    for (auto const &[name, text] : files_) {
      write_file(path(name), text);
    }
    for (auto const &[name, target] : links_) {
      fs::create_symlink(target, path(name));
    }
    for (auto const &[name, mode] : modes_) {
      fs::permissions(path(name), mode);
    }
  }

  // Of all files: the tool writes to none, and creates none.
  std::map<std::string, std::uintmax_t> sizes() const {
    std::map<std::string, std::uintmax_t> sizes;
    for (auto const &entry : fs::recursive_directory_iterator(directory_.path())) {
      std::error_code error; // a link may lead nowhere
      sizes[entry.path()] = entry.file_size(error);
    }
    return sizes;
  }

  ChildResult run_tool(std::vector<std::string> const &command,
                       std::vector<std::string> const &files) const {
    std::vector<std::string> words = {"-C", current_.empty() ? directory_.path() : current_,
                                      OSTREL_PROGRAM};
    words.insert(words.end(), command.begin(), command.end());
    words.insert(words.end(), files.begin(), files.end());
    Environment environment;
    for (auto const &[name, value] : environment_) {
      environment[name] = value ? value->c_str() : nullptr;
    }
    return run_program("/usr/bin/env", words, environment);
  }

  static bool has_line(std::string const &out, std::string const &where,
                       std::string const &correction) {
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      std::size_t const found = line.find(where + ":");
      if (found != line.npos && line.find(correction, found) != line.npos) {
        return true;
      }
    }
    return false;
  }

  TemporaryDirectory directory_;
  bool is_sound_;
  std::string title_, settings_, current_;
  std::string *text_ = nullptr;
  std::map<std::string, std::string> files_, links_;
  std::map<std::string, fs::perms> modes_;
  std::map<std::string, std::optional<std::string>> environment_;
  std::vector<std::string> checked_;
  std::vector<std::pair<std::string, std::string>> expected_;
};

class Mistakes : public testing::TestWithParam<char const *> {};

TEST_P(Mistakes, AreFoundAndNothingElse) {
  std::ifstream file(SOURCE_TREE "/tests/mistakes/" + std::string(GetParam()) + ".txt");
  std::optional<Situation> current;
  int count = 0;
  for (std::string line; std::getline(file, line);) {
    auto const [word, rest] = cut(line);
    if (word == "mistake" || word == "sound") {
      ++count;
      current.emplace(word == "sound", rest);
    } else if (line.empty() && current) {
      current->run();
      current.reset();
    } else if (current) {
      current->add(line);
    }
  }
  if (current) {
    current->run();
  }
  EXPECT_GT(count, 0);
}

INSTANTIATE_TEST_SUITE_P(Files, Mistakes,
                         testing::Values("values", "keys", "aliases", "text", "files", "logging"),
                         [](auto const &file) { return std::string(file.param); });

// The string literals of the library's sources that match a pattern of the shell.
std::set<std::string> literals(char const *pattern) {
  std::set<std::string> found;
  for (auto const &entry : fs::recursive_directory_iterator(SOURCE_TREE "/core/base")) {
    std::istringstream text(entry.path().extension() == ".cpp" ? read_file(entry.path()) : "");
    for (std::string code, literal;
         std::getline(text, code, '"') && std::getline(text, literal, '"');) {
      if (fnmatch(pattern, literal.c_str(), 0) == 0) {
        found.insert(literal);
      }
    }
  }
  EXPECT_FALSE(found.empty()) << pattern;
  return found;
}

// Which the tool knows by lists of its own: a name is right, and with its end swapped misspelt.
TEST(NamesOfTheLibrary, AreKnown) {
  TemporaryDirectory const directory;
  std::string const registry = directory.path("robot.reg");
  auto const misspelt = [](std::string name) {
    std::swap(name.end()[-1], name.end()[-2]);
    return name;
  };
  for (std::string const &name : literals("Ostrel.Core.Base.*")) {
    for (auto const &[category, status] : {std::pair(name, 0), std::pair(misspelt(name), 5)}) {
      std::string const spec = category + ",INFO";
      ChildResult const result =
          run_program(OSTREL_PROGRAM, {"doctor"}, {{"OSTREL_LOG_PRIORITY", spec.c_str()}});
      EXPECT_EQ(result.status, status) << category << result.out;
    }
  }
  for (std::string const &name : literals("O[SV]*R*_*[A-Z]")) {
    std::string const written = misspelt(name);
    ChildResult const result = run_program(OSTREL_PROGRAM, {"doctor"}, {{written.c_str(), "x"}});
    EXPECT_NE(result.out.find(written + ": nothing reads"), std::string::npos) << written;
  }
  for (std::string const &name : literals("[A-Z]*[a-z]Path")) {
    write_file(registry, "REGEDIT4\n[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n\"" +
                             misspelt(name) + "\"=\"/\"\n");
    ChildResult const result =
        run_program(OSTREL_PROGRAM, {"doctor"}, {{"OSTREL_REGISTRY_FILE", registry.c_str()}});
    EXPECT_NE(result.out.find("write " + name), std::string::npos) << result.out;
  }
}

// The tool knows the aliases of the library by a list of its own.
TEST(BuiltInAliases, OfTheLibraryAreKnown) {
  TemporaryDirectory const directory;
  std::istringstream lines(run_program(OSTREL_PROGRAM, {"alias", "list", "--json"}).out);
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    nlohmann::json const alias = nlohmann::json::parse(line);
    std::string const name = alias["name"], key = alias["key"], file = alias["file"];
    if (file.empty()) {
      write_file(directory.path("user-config.xml"),
                 "<UserConfig><Arm a='1'/><Aliases><Alias name='" + name +
                     "' value='UserConfig/Arm/a'/></Aliases></UserConfig>");
      ChildResult const result =
          run_program(OSTREL_PROGRAM, {"config", "check", directory.path("user-config.xml")});
      EXPECT_NE(result.out.find("leads to " + key + ": rename it"), std::string::npos) << line;
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}

// Runs the tool with a settings file of one mistake.
ChildResult run_on_mistake(std::vector<std::string> const &words) {
  TemporaryDirectory const directory;
  write_file(directory.path("user-config.xml"),
             "<UserConfig><Speech Volume=\"170\"/></UserConfig>");
  std::string const &path = directory.path();
  return run_program(OSTREL_PROGRAM, words, {{"OSTREL_CONFIG_PATH", path.c_str()}});
}

TEST(Schema, IsDescribed) {
  struct {
    char const *key;
    int status;
    char const *out, *err;
  } const cases[] = {
      {"UserConfig/Sonar/MaximumRange", 0, "distance in m, or with a unit, from 0 to 20\n", ""},
      {"$ObstacleAvoidanceMethod", 0, "choices: VectorField or Elastic & Gentle, or another\n", ""},
      {"UserConfig/Speech", 0, "whole number, from 0 to 100\n  default: 70\n", ""},
      {"UserConfig/Sonar/MaximumRnage", 1, "", "did you mean 'UserConfig/Sonar/MaximumRange'?"},
      {"$Nothing", 1, "", "$Nothing"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.key);
    ChildResult const result = run_on_mistake({"config", "describe", c.key});
    EXPECT_EQ(result.status, c.status);
    EXPECT_NE(result.out.find(c.out), std::string::npos) << result.out;
    EXPECT_NE(result.err.find(c.err), std::string::npos) << result.err;
  }
}

TEST(Findings, AreOneDocument) {
  struct {
    std::vector<std::string> words;
    char const *list;
  } const cases[] = {{{"--json", "config", "check"}, "/findings/0/what"},
                     {{"--json", "doctor"}, "/findings/0/line"},
                     {{"--json", "doctor", "--report"}, "/report/settings file/0"},
                     {{"--json", "config", "describe"}, "/settings/0/key"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.list);
    ChildResult const result = run_on_mistake(c.words);
    std::string const &out = result.out;
    EXPECT_EQ(result.err, "");
    nlohmann::json const document = nlohmann::json::parse(out, nullptr, false);
    EXPECT_EQ(document.value("schema", 0), 1) << out;
    EXPECT_TRUE(document.contains(nlohmann::json::json_pointer(c.list))) << out;
  }
}

TEST(Check, DistinguishesWhatStopsIt) {
  struct {
    std::vector<std::string> files;
    int status;
  } const cases[] = {{{"/nowhere/user-config.xml"}, 1},
                     {{"/"}, 3},
                     {{SOURCE_TREE "/README.md"}, 3},
                     {{SOURCE_TREE "/config/user-config.xml"}, 0},
                     {{}, 5}};
  for (auto const &c : cases) {
    std::vector<std::string> words = {"config", "check"};
    words.insert(words.end(), c.files.begin(), c.files.end());
    EXPECT_EQ(run_on_mistake(words).status, c.status) << words.back();
  }
}

// Larger than the parser accepts at once.
TEST(Check, ReadsALargeFile) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("user-config.xml");
  std::string const note = "<Note>" + std::string(6000000, 'x') + "</Note>\n";
  write_file(path, "<UserConfig>\n" + note + note + "<Speech Volume='170'/></UserConfig>");
  ChildResult const result = run_program(OSTREL_PROGRAM, {"config", "check", path});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out.find(path + ":4: Volume"), 0U) << result.out.substr(0, 200);
}

} // namespace
