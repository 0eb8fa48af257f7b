// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <climits>

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
  struct {
    std::string path;
    char const *name;
    std::string found;
  } const cases[] = {
      {a + ";" + b, "both", a + "\\both"},
      {a + ";" + b, "one", b + "\\one"}, // a\\one is a directory
      {";none;" + b + "\\", "both", b + "\\\\both"},
      // The empty directory is the root; on Windows that of the current drive, without the file.
      {"", below.c_str(), ON_WINDOWS ? "stale" : "\\" + below},
      {a, "none", "stale"},
      {a, nullptr, "stale"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path);
    std::string found = "stale";
    EXPECT_EQ(Platform::find_file(c.path, c.name, &found),
              c.found == "stale" ? RESULT_NOT_FOUND : RESULT_SUCCESS);
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

unsigned long find_place(Platform::SystemProperty property, char const *name, std::string *out) {
  Platform::find_place_to_write(property, name, out);
  return out == nullptr ? RESULT_INVALID_ARGUMENT : RESULT_SUCCESS;
}

TEST(FileSearch, FilesOfAProperty) {
  TemporaryDirectory const directory;
  std::string const regular = directory.path("file"), found = directory.path() + "\\file";
  write_file(regular, "");
  std::string const path = directory.path() + ";" + directory.path("other");
  auto const no_installation = provide_registry("\"InstallPath\"=\"\"\n");
  set_variable("OSTREL_DATA_PATH", path.c_str());
  auto const missing = [&path](std::string const &name) {
    return "WARN  - Failed to find '" + name + "' in '" + path + ";\\data'.";
  };
  auto const traced = [](std::string const &name) {
    return "TRACE  - find_system_or_regular_file() '" + name + "'... [platform]";
  };
  std::string const no_property = "WARN  - Failed to get system property:8.";
  std::string const no_path = "WARN  - Failed to find SLAM landmark path possibilities.";
  std::string const no_place = "WARN  - Couldn't find a decent first path choice for saving.";
  auto const in_system = Platform::find_system_file;
  auto const anywhere = Platform::find_system_or_regular_file;
  constexpr auto DATA = Platform::DATA_PATH, INSTALL = Platform::INSTALL_PATH;
  struct {
    decltype(&find_place) find;
    Platform::SystemProperty property;
    char const *name;
    unsigned long result;
    std::string out;
    std::vector<std::string> log;
  } const cases[] = {
      {in_system, DATA, "file", RESULT_SUCCESS, found, {}},
      {in_system, DATA, "x", RESULT_NOT_FOUND, "stale", {missing("x")}},
      {in_system, DATA, nullptr, RESULT_NOT_FOUND, "stale", {missing("")}},
      {in_system, UNKNOWN, "file", RESULT_INVALID_ARGUMENT, "stale", {no_property}},
      {anywhere, UNKNOWN, regular.c_str(), RESULT_SUCCESS, regular, {traced(regular)}},
      {anywhere, DATA, "file", RESULT_SUCCESS, found, {traced("file")}},
      {anywhere, DATA, nullptr, RESULT_NOT_FOUND, "", {traced(""), missing("")}},
      {find_place, DATA, "new", RESULT_SUCCESS, directory.path() + "\\new", {}},
      {find_place, DATA, "./new", RESULT_SUCCESS, "./new", {}},
      {find_place, DATA, nullptr, RESULT_SUCCESS, directory.path() + "\\", {}},
      {find_place, UNKNOWN, "new", RESULT_SUCCESS, ".\\new", {no_path}},
      {find_place, INSTALL, "new", RESULT_SUCCESS, ".\\new", {no_place}}};
  CapturedLog log("Ostrel.Core.Base.Platform", LoggingPriority::TRACE);
  for (auto const &c : cases) {
    SCOPED_TRACE(&c - cases);
    std::string out = "stale";
    EXPECT_EQ(c.find(c.property, c.name, &out), c.result);
    EXPECT_EQ(out, c.out);
    EXPECT_EQ(log.take(), c.log);
    EXPECT_EQ(c.find(c.property, c.name, nullptr), RESULT_INVALID_ARGUMENT);
  }
  set_variable("OSTREL_DATA_PATH", nullptr);
}

} // namespace
