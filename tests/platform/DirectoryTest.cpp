// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using namespace Ostrel;
using Names = std::vector<std::string>;

// Names in order and without the directory in front of them.
Names sorted_names(Names paths, std::string const &prefix) {
  for (std::string &path : paths) {
    EXPECT_EQ(path.substr(0, prefix.size()), prefix);
    path.erase(0, prefix.size());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

TEST(Directory, FilesWhoseNamesEndInAPattern) {
  TemporaryDirectory const directory;
  for (char const *name : {"a.xml", ".b.xml", "a.xml.c", "[c].xml", "aab", "long.xml"}) {
    write_file(directory.path(name), "");
  }
  std::filesystem::create_directory(directory.path("d.xml"));
  Names const all = {".b.xml", "[c].xml", "a.xml", "a.xml.c", "aab", "long.xml"};
  struct {
    char const *pattern;
    Names names;
  } const cases[] = {{".xml", {".b.xml", "[c].xml", "a.xml", "long.xml"}},
                     {".?ml", {".b.xml", "[c].xml", "a.xml", "long.xml"}},
                     {"a*b", {"aab"}},
                     {"", all},
                     {nullptr, all}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.pattern == nullptr ? "null" : c.pattern);
    for (char const *ending : {"", "\\"}) {
      Names files = {"stale"};
      std::string const path = directory.path() + ending;
      EXPECT_EQ(Platform::get_file_list(path.c_str(), c.pattern, &files), RESULT_SUCCESS);
      EXPECT_EQ(sorted_names(files, directory.path() + "\\"), c.names);
    }
  }
  EXPECT_EQ(Platform::get_file_list("x", "", nullptr), RESULT_PRECONDITION_ERROR);
  Names own = {directory.path(), "b"};
  EXPECT_EQ(Platform::get_file_list(own[0].c_str(), own[1].c_str(), &own), RESULT_SUCCESS);
  EXPECT_EQ(own, Names{directory.path() + "\\aab"});
}

TEST(Directory, DirectoriesBelowAPrefix) {
  TemporaryDirectory const directory;
  for (char const *name : {"in/sub", "in/.hidden", "inner"}) {
    std::filesystem::create_directories(directory.path(name));
  }
  write_file(directory.path("in/file"), "");
  struct {
    std::string prefix;
    Names names;
  } const cases[] = {{directory.path() + "\\in\\", {".", "..", ".hidden", "sub"}},
                     {directory.path("in/"), {".", "..", ".hidden", "sub"}},
                     {directory.path("in"), {}}, // what is found is joined without a delimiter
                     {directory.path("none/"), {}}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.prefix);
    Names found = {"stale"};
    EXPECT_EQ(Platform::get_dir_list(c.prefix.c_str(), &found), RESULT_SUCCESS);
    EXPECT_EQ(sorted_names(found, c.prefix), c.names);
  }
  EXPECT_EQ(Platform::get_dir_list("x", nullptr), RESULT_PRECONDITION_ERROR);
  Names own = {directory.path("in/")};
  EXPECT_EQ(Platform::get_dir_list(own[0].c_str(), &own), RESULT_SUCCESS);
  EXPECT_EQ(own.size(), 4U);
}

TEST(Directory, ProblemsOfAListAreWarnings) {
  TemporaryDirectory const directory;
  write_file(directory.path("a/b"), "");
  std::string const query = directory.path() + "\\", none = query + "none";
  struct {
    char const *directory, *pattern;
    std::string message;
  } const cases[] = {{nullptr, nullptr, "NULL path"},
                     {query.c_str(), ".xml", "Error checking files in '" + query + "*.xml'"},
                     {none.c_str(), nullptr, "Error checking files in '" + none + "\\*'"}};
  CapturedLog log("Ostrel.Core.Base.Win32Platform");
  for (auto const &c : cases) {
    Names files = {"stale"};
    EXPECT_EQ(Platform::get_file_list(c.directory, c.pattern, &files), RESULT_SUCCESS);
    EXPECT_EQ(files, Names());
    EXPECT_EQ(log.take(), Names{"WARN  - " + c.message + ": return empty file list."});
  }
}

} // namespace
