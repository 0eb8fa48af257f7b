// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <iostream>

namespace {

using Ostrel::Platform;

constexpr auto UNKNOWN = static_cast<Platform::SystemProperty>(8);

TEST(FileSearch, ElementsOfASearchPath) {
  struct {
    char const *path;
    int index;
    unsigned long result;
    char const *element;
  } const cases[] = {
      {"a;;b", 0, Ostrel::RESULT_SUCCESS, "a"},
      {"a;;b", 1, Ostrel::RESULT_SUCCESS, ""},
      {"a;;b", 2, Ostrel::RESULT_SUCCESS, "b"},
      {"a;;b", 3, Ostrel::RESULT_OUT_OF_BOUND, "stale"},
      {"a;", 1, Ostrel::RESULT_SUCCESS, ""},
      {"a;", 2, Ostrel::RESULT_OUT_OF_BOUND, "stale"},
      {"a", -1, Ostrel::RESULT_OUT_OF_BOUND, "stale"},
      {"a", INT_MAX, Ostrel::RESULT_OUT_OF_BOUND, "stale"},
      {"", 0, Ostrel::RESULT_NOT_FOUND, "stale"},
      {"", -1, Ostrel::RESULT_NOT_FOUND, "stale"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.path) + " at " + std::to_string(c.index));
    std::string element = "stale";
    EXPECT_EQ(Platform::get_seq_path(c.path, c.index, &element), c.result);
    EXPECT_EQ(element, c.element);
  }
  std::string first;
  EXPECT_EQ(Platform::get_first_path(";b", &first), Ostrel::RESULT_SUCCESS);
  EXPECT_EQ(first, "");
  EXPECT_EQ(Platform::get_first_path("a", nullptr), Ostrel::RESULT_INVALID_ARGUMENT);
}

TEST(FileSearch, FirstReadableFileWins) {
  TemporaryDirectory const directory;
  std::string const a = directory.path("a"), b = directory.path("b");
  write_file(a + "/both", "");
  write_file(b + "/both", "");
  write_file(b + "/one", "");
  write_file(a + "/one/directory", "");
  std::string const below_root = a.substr(1) + "/both";
  struct {
    std::string path;
    char const *name;
    unsigned long result;
    std::string found;
  } const cases[] = {
      {a + ";" + b, "both", Ostrel::RESULT_SUCCESS, a + "\\both"},
      {a + ";" + b, "one", Ostrel::RESULT_SUCCESS, b + "\\one"}, // in a it is a directory
      {";none;" + b + "\\", "both", Ostrel::RESULT_SUCCESS, b + "\\\\both"},
      {"", below_root.c_str(), Ostrel::RESULT_SUCCESS, "\\" + below_root},
      {a, "none", Ostrel::RESULT_NOT_FOUND, "stale"},
      {a, nullptr, Ostrel::RESULT_NOT_FOUND, "stale"},
  };
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path);
    std::string found = "stale";
    EXPECT_EQ(Platform::find_file(c.path, c.name, &found), c.result);
    EXPECT_EQ(found, c.found);
  }
  EXPECT_EQ(Platform::find_file(a, "both", nullptr), Ostrel::RESULT_INVALID_ARGUMENT);
}

TEST(FileSearch, TheResultMayHoldTheName) {
  std::string file = __FILE__, place = "/new";
  EXPECT_EQ(Platform::find_system_or_regular_file(UNKNOWN, file.c_str(), &file),
            Ostrel::RESULT_SUCCESS);
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
  return find(property, name, nullptr) == Ostrel::RESULT_INVALID_ARGUMENT ? int(result) : 99;
});

TEST(FileSearch, FilesOfAProperty) {
  TemporaryDirectory const directory;
  write_file(directory.path("file"), "");
  std::string const regular = directory.path("file"), found = directory.path() + "\\file";
  std::string const path = directory.path() + ";" + directory.path("other");
  std::string const searched = path + ";\\data"; // there is no installation directory either
  write_file(directory.path("registry"),
             "[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n\"InstallPath\"=\"\"\n");
  auto const missing = [&](char const *name) {
    return std::string("WARN  - Failed to find '") + name + "' in '" + searched + "'.\n";
  };
  std::string const trace = "TRACE  - find_system_or_regular_file() '";
  std::string const unknown = "WARN  - Failed to get system property:8.\n";
  struct {
    char const *how;
    Platform::SystemProperty property;
    std::string name, out;
    unsigned long result;
    std::string log;
  } const cases[] = {
      {"system", Platform::DATA_PATH, "file", found, Ostrel::RESULT_SUCCESS, ""},
      {"system", Platform::DATA_PATH, "x", "stale", Ostrel::RESULT_NOT_FOUND, missing("x")},
      {"system", Platform::DATA_PATH, "null", "stale", Ostrel::RESULT_NOT_FOUND, missing("")},
      {"system", UNKNOWN, "file", "stale", Ostrel::RESULT_INVALID_ARGUMENT, unknown},
      {"any", UNKNOWN, regular, regular, Ostrel::RESULT_SUCCESS,
       trace + regular + "'... [platform]\n"},
      {"any", Platform::DATA_PATH, "file", found, Ostrel::RESULT_SUCCESS,
       trace + "file'... [platform]\n"},
      {"any", Platform::DATA_PATH, "null", "", Ostrel::RESULT_NOT_FOUND,
       trace + "'... [platform]\n" + missing("")},
      {"place", Platform::DATA_PATH, "new", directory.path() + "\\new", 0, ""},
      {"place", Platform::DATA_PATH, "./new", "./new", 0, ""},
      {"place", Platform::DATA_PATH, "null", directory.path() + "\\", 0, ""},
      {"place", UNKNOWN, "new", ".\\new", 0,
       "WARN  - Failed to find SLAM landmark path possibilities.\n"},
      {"place", Platform::INSTALL_PATH, "new", ".\\new", 0,
       "WARN  - Couldn't find a decent first path choice for saving.\n"},
  };
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
