// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <iostream>

namespace {

using namespace Ostrel;

constexpr auto UNKNOWN = static_cast<Platform::SystemProperty>(8);

TEST(FileSearch, ElementsOfASearchPath) {
  struct {
    char const *path, *element;
    int index;
    unsigned long result;
  } const cases[] = {
      {"a;;b", "stale", 3, RESULT_OUT_OF_BOUND},    {"a;;b", "a", 0, RESULT_SUCCESS},
      {"a;", "stale", 2, RESULT_OUT_OF_BOUND},      {"a;;b", "", 1, RESULT_SUCCESS},
      {"a", "stale", -1, RESULT_OUT_OF_BOUND},      {"a;;b", "b", 2, RESULT_SUCCESS},
      {"a", "stale", INT_MAX, RESULT_OUT_OF_BOUND}, {"a;", "", 1, RESULT_SUCCESS},
      {"", "stale", 0, RESULT_NOT_FOUND},           {"", "stale", -1, RESULT_NOT_FOUND}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.path) + " at " + std::to_string(c.index));
    std::string element = "stale";
    EXPECT_EQ(Platform::get_seq_path(c.path, c.index, &element), c.result);
    EXPECT_EQ(element, c.element);
  }
  std::string first;
  EXPECT_EQ(Platform::get_first_path(";b", &first), RESULT_SUCCESS);
  EXPECT_EQ(first, "");
  EXPECT_EQ(Platform::get_first_path("a", nullptr), RESULT_INVALID_ARGUMENT);
}

TEST(FileSearch, FirstReadableFileWins) {
  TemporaryDirectory const directory;
  std::string const a = directory.path("a"), b = directory.path("b");
  write_file(a + "/both", "");
  write_file(b + "/both", "");
  write_file(b + "/one", "");
  write_file(a + "/one/directory", "");
  std::string const below = a.substr(1) + "/both";
  struct Case {
    std::string path, found;
    char const *name;
    unsigned long result;
  };
  // The empty directory is the root: on Windows that of the current drive, where the file is not.
  Case const below_root = ON_WINDOWS ? Case{"", "stale", below.c_str(), RESULT_NOT_FOUND}
                                     : Case{"", "\\" + below, below.c_str(), RESULT_SUCCESS};
  Case const cases[] = {{a + ";" + b, a + "\\both", "both", RESULT_SUCCESS},
                        {a + ";" + b, b + "\\one", "one", RESULT_SUCCESS}, // in a it is a directory
                        {";none;" + b + "\\", b + "\\\\both", "both", RESULT_SUCCESS},
                        below_root,
                        {a, "stale", "none", RESULT_NOT_FOUND},
                        {a, "stale", nullptr, RESULT_NOT_FOUND}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path);
    std::string found = "stale";
    EXPECT_EQ(Platform::find_file(c.path, c.name, &found), c.result);
    EXPECT_EQ(found, c.found);
  }
  EXPECT_EQ(Platform::find_file(a, "both", nullptr), RESULT_INVALID_ARGUMENT);
}

TEST(FileSearch, TheResultMayHoldTheName) {
  std::string file = __FILE__, place = "/new";
  EXPECT_EQ(Platform::find_system_or_regular_file(UNKNOWN, file.c_str(), &file), RESULT_SUCCESS);
  EXPECT_EQ(file, __FILE__);
  Platform::find_place_to_write(UNKNOWN, place.c_str(), &place);
  EXPECT_EQ(place, "/new");
}

// Arguments: how to look, the property's number, the name ("null" for none).
Role const search("search", [](Role::Arguments const &arguments) {
  auto const property = static_cast<Platform::SystemProperty>(std::stoi(arguments[1]));
  char const *name = arguments[2] == "null" ? nullptr : arguments[2].c_str();
  std::string out = "stale";
  if (arguments[0] == "place") {
    Platform::find_place_to_write(property, name, &out);
    Platform::find_place_to_write(property, name, nullptr);
    std::cout << out;
    return 0;
  }
  auto const find =
      arguments[0] == "system" ? Platform::find_system_file : Platform::find_system_or_regular_file;
  unsigned long const result = find(property, name, &out);
  std::cout << out;
  return find(property, name, nullptr) == RESULT_INVALID_ARGUMENT ? int(result) : 99;
});

TEST(FileSearch, FilesOfAProperty) {
  TemporaryDirectory const directory;
  write_file(directory.path("file"), "");
  std::string const regular = directory.path("file"), found = directory.path() + "\\file";
  std::string const path = directory.path() + ";" + directory.path("other");
  std::string const searched = path + ";\\data"; // there is no installation directory either
  write_file(
      directory.path("registry"),
      "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n\"InstallPath\"=\"\"\n");
  auto const contents = provide_registry(directory.path("registry"));
  auto const missing = [&](char const *name) {
    return std::string("WARN  - Failed to find '") + name + "' in '" + searched + "'.\n";
  };
  auto const traced = [](std::string const &name) {
    return "TRACE  - find_system_or_regular_file() '" + name + "'... [platform]\n";
  };
  std::string const unknown = "WARN  - Failed to get system property:8.\n";
  struct {
    char const *how;
    Platform::SystemProperty property;
    std::string name, out, log;
    unsigned long result;
  } const cases[] = {
      {"system", Platform::DATA_PATH, "file", found, "", RESULT_SUCCESS},
      {"system", Platform::DATA_PATH, "x", "stale", missing("x"), RESULT_NOT_FOUND},
      {"system", Platform::DATA_PATH, "null", "stale", missing(""), RESULT_NOT_FOUND},
      {"system", UNKNOWN, "file", "stale", unknown, RESULT_INVALID_ARGUMENT},
      {"any", UNKNOWN, regular, regular, traced(regular), RESULT_SUCCESS},
      {"any", Platform::DATA_PATH, "file", found, traced("file"), RESULT_SUCCESS},
      {"any", Platform::DATA_PATH, "null", "", traced("") + missing(""), RESULT_NOT_FOUND},
      {"place", Platform::DATA_PATH, "new", directory.path() + "\\new", "", 0},
      {"place", Platform::DATA_PATH, "./new", "./new", "", 0},
      {"place", Platform::DATA_PATH, "null", directory.path() + "\\", "", 0},
      {"place", UNKNOWN, "new", ".\\new",
       "WARN  - Failed to find SLAM landmark path possibilities.\n", 0},
      {"place", Platform::INSTALL_PATH, "new", ".\\new",
       "WARN  - Couldn't find a decent first path choice for saving.\n", 0}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.how) + " " + c.name);
    ChildResult const child =
        run_child("search", {c.how, std::to_string(c.property), c.name},
                  {{"OSTREL_DATA_PATH", path.c_str()},
                   {"OSTREL_REGISTRY_FILE", directory.path("registry").c_str()},
                   {"OSTREL_LOG_PRIORITY", "Ostrel.Core.Base.Platform,TRACE"}});
    EXPECT_EQ(child.status, c.result);
    EXPECT_EQ(child.out, c.out);
    EXPECT_EQ(child.err, c.log);
  }
}

} // namespace
