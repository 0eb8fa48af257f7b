// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using namespace Ostrel;
using Names = std::vector<std::string>;

// Sorted names without the directory.
Names sorted_names(Names paths, std::string const &prefix) {
  for (std::string &path : paths) {
    EXPECT_EQ(path.substr(0, prefix.size()), prefix);
    path.erase(0, prefix.size());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// On Windows a test's path begins with a drive, and a path that ends in a separator has no status.
constexpr char const *DRIVE = ON_WINDOWS ? "" : "Z:";

TEST(File, ExistenceOfFilesAndDirectories) {
  TemporaryDirectory const directory;
  write_file(directory.path("sub/file"), "x");
  struct {
    std::string path;
    bool is_file, is_directory;
  } const cases[] = {{directory.path() + "\\sub\\file", true, false},
                     {std::string(5000, 'x'), false, false},
                     {DRIVE + directory.path("sub\\"), false, !ON_WINDOWS},
                     {directory.path("sub/file/"), false, false},
                     {directory.path("sub"), false, true},
                     {directory.path("sub/file"), true, false},
                     {std::string(), false, false},
                     {directory.path("none"), false, false}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(Platform::file_exists(c.path.c_str()), c.is_file ? RESULT_SUCCESS : RESULT_FAILURE);
    EXPECT_EQ(Platform::directory_exists(c.path.c_str()),
              c.is_directory ? RESULT_SUCCESS : RESULT_FAILURE);
  }
  EXPECT_EQ(Platform::file_exists(nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Platform::directory_exists(nullptr), RESULT_INVALID_ARGUMENT);
}

TEST(File, DirectoriesAreCreatedOneByOne) {
  TemporaryDirectory const directory;
  std::string const created = directory.path() + "\\a", below = created + "\\b\\c";
  CapturedLog log("Ostrel.Core.Base.Win32Platform");
  EXPECT_EQ(Platform::mkdir(created.c_str(), 0), RESULT_SUCCESS);
  for (char const *path : {created.c_str(), below.c_str(), static_cast<char const *>(nullptr)}) {
    EXPECT_EQ(Platform::mkdir(path, 0), RESULT_IO_ERROR);
    std::string const name = path == nullptr ? "" : path;
    EXPECT_EQ(log.take(), std::vector<std::string>{"INFO  - Failed to mkdir('" + name + "')"});
  }
  EXPECT_EQ(Platform::mkdir((created + "/b").c_str(), 0), RESULT_SUCCESS);
  EXPECT_EQ(Platform::mkdir(below.c_str(), 0), RESULT_SUCCESS);
  EXPECT_EQ(Platform::directory_exists(directory.path("a/b/c").c_str()), RESULT_SUCCESS);
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
  auto const open = ON_WINDOWS ? 0 : count_entries("/proc/self/fd");
  for (auto const &c : cases) {
    SCOPED_TRACE(c.pattern == nullptr ? "null" : c.pattern);
    for (char const *ending : {"", "\\"}) {
      Names files = {"stale"};
      std::string const path = directory.path() + ending;
      EXPECT_EQ(Platform::get_file_list(path.c_str(), c.pattern, &files), RESULT_SUCCESS);
      EXPECT_EQ(sorted_names(files, directory.path() + "\\"), c.names);
    }
  }
  EXPECT_EQ(ON_WINDOWS ? open : count_entries("/proc/self/fd"), open) << "searches left open";
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
                     {directory.path("in"), {}}, // names are appended without a delimiter
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

TEST(Path, FormsOfPaths) {
  struct {
    char const *path, *native;
    bool is_absolute;
  } const cases[] = {{"\xE9:/x", "\xE9:/x", false}, {".\\x", "./x", true}, {"\\x", "/x", true},
                     {"a/c:\\x", "a/c:/x", false},  {"C:/x", "/x", true},  {"/x", "/x", true},
                     {"c:\\x\\y", "/x/y", true},    {"./x", "./x", true},  {"x", "x", false},
                     {"..\\x", "../x", false},      {nullptr, "", false},  {".", ".", false},
                     {"1:/x", "1:/x", false},       {"C:", "C:", false},   {"", "", false},
                     {"C:x", "C:x", false},         {"C:\\", "/", true}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path == nullptr ? "null" : c.path);
    EXPECT_EQ(Platform::is_absolute_path(c.path), c.is_absolute);
    EXPECT_EQ(Platform::native_path(c.path), ON_WINDOWS && c.path != nullptr ? c.path : c.native);
  }
  EXPECT_STREQ(Platform::get_line_delimiter(), "\r\n");
  std::string const beyond_the_system(100000, 'x');
  EXPECT_EQ(Platform::native_path(beyond_the_system.c_str()), beyond_the_system);
}

TEST(Path, OnlyRelativePathsBecomeAbsolute) {
  std::string current;
  ASSERT_EQ(Platform::get_current_directory(&current), RESULT_SUCCESS);
  EXPECT_EQ(Platform::get_current_directory(nullptr), RESULT_INVALID_ARGUMENT);
  struct {
    char const *path;
    bool result;
    std::string out;
  } const cases[] = {
      {"a", true, current + "\\a"}, {"../a/", true, current + "\\../a/"},
      {"./a", true, "./a"},         {"", false, "stale"},
      {nullptr, false, "stale"},
  };
  for (auto const &c : cases) {
    std::string out = "stale";
    EXPECT_EQ(Platform::make_absolute_path(c.path, &out), c.result);
    EXPECT_EQ(out, c.out);
  }
  EXPECT_FALSE(Platform::make_absolute_path("a", nullptr));
}

} // namespace
