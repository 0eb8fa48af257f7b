// SPDX-License-Identifier: Apache-2.0
// Names and paths that Windows does not have, and patterns that differ there: Windows also matches
// short names.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;
using Names = std::vector<std::string>;

TEST(Directory, NamesWithABackslashAreOmitted) {
  TemporaryDirectory const directory;
  std::string const start = directory.path() + "\\";
  for (char const *name : {"a.xml", "C.XML", "\xFF\xFE.xml", "a\\b.xml"}) {
    write_file(directory.path(name), "");
  }
  std::filesystem::create_symlink("a.xml", directory.path("link.xml"));
  std::filesystem::create_symlink("none", directory.path("dangling.xml"));
  std::filesystem::create_directory(directory.path("back\\slash"));
  CapturedLog log("Ostrel.Core.Base.Win32Platform");
  Names names;
  EXPECT_EQ(Platform::get_file_list(start.c_str(), ".xml", &names), RESULT_SUCCESS);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Names{start + "a.xml", start + "link.xml", start + "\xFF\xFE.xml"}));
  Names lines = log.take();
  std::sort(lines.begin(), lines.end());
  std::string const unreadable = "WARN  - Unable to read the status of '" + start;
  EXPECT_EQ(lines, (Names{unreadable + "a\\b.xml': left out of the file list.",
                          unreadable + "dangling.xml': left out of the file list."}));
  EXPECT_EQ(Platform::get_file_list(start.c_str(), ".XML", &names), RESULT_SUCCESS);
  EXPECT_EQ(names, Names{start + "C.XML"});
  EXPECT_EQ(Platform::get_file_list(start.c_str(), "????????", &names), RESULT_SUCCESS);
  EXPECT_EQ(names, Names{start + "link.xml"}); // on Windows "?" may stand for nothing
  EXPECT_EQ(Platform::get_dir_list(start.c_str(), &names), RESULT_SUCCESS);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Names{start + ".", start + ".."}));
}

// With a lease, which file servers use.
TEST(File, ALeaseOfAnotherProgramIsWaitedFor) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("file");
  write_file(path, "");
  for (bool const is_written : {false, true}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    pid_t const lender = fork();
    if (lender == 0) {
      int const lent = open(path.c_str(), O_RDWR);
      if (fcntl(lent, F_SETLEASE, F_WRLCK) == 0 && write(ends[1], "x", 1) == 1) {
        pause(); // until SIGIO, sent when the file is opened, ends this process
      }
      _exit(1);
    }
    char byte = 0;
    int status = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_EQ(is_written ? Platform::replace_file(path.c_str(), "x", 1)
                         : Platform::file_exists(path.c_str()),
              RESULT_SUCCESS);
    EXPECT_EQ(waitpid(lender, &status, 0), lender);
    EXPECT_EQ(WTERMSIG(status), SIGIO);
    close(ends[0]);
    close(ends[1]);
  }
}

TEST(Path, CurrentDirectoryOfAnyLength) {
  auto const before = std::filesystem::current_path();
  for (std::size_t const length : {250U, 259U, 260U, 3000U}) {
    SCOPED_TRACE(length);
    TemporaryDirectory const directory;
    std::string path = directory.path();
    while (path.size() < length) {
      path += "/" + std::string(std::min<std::size_t>(200, length - path.size() - 1), 'd');
    }
    std::filesystem::create_directories(path);
    std::filesystem::current_path(path);
    std::string current, absolute = "stale";
    EXPECT_EQ(Platform::get_current_directory(&current), RESULT_SUCCESS);
    EXPECT_EQ(current, path);
    EXPECT_GT(GetCurrentDirectoryA(DWORD(length), current.data()), length) << "no room for it";
    bool const is_short = length < 260; // MAX_PATH, the end of the text included
    EXPECT_EQ(Platform::make_absolute_path("a", &absolute), is_short);
    EXPECT_EQ(absolute, is_short ? path + "\\a" : "stale");
    std::filesystem::remove(path);
    EXPECT_EQ(Platform::get_current_directory(&current), RESULT_IO_ERROR);
    EXPECT_EQ(current, path);
  }
  std::filesystem::current_path(before);
}

} // namespace
