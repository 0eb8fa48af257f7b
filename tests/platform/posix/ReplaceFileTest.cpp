// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr uid_t NOBODY = 65534;

struct stat status_of(std::string const &path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

unsigned long replace(std::string const &path, std::string const &text) {
  return Platform::replace_file(path.c_str(), text.data(), text.size());
}

// The attribute "user.note" of a file, if the file system supports attributes.
std::string note_of(std::string const &path) {
  char note[16] = {};
  getxattr(path.c_str(), "user.note", note, sizeof note - 1);
  return note;
}

TEST(ReplaceFile, KeepsTheAttributesOfTheFile) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("file");
  for (mode_t const mode : {0600U, 0644U, 0666U, 0751U, 02640U}) {
    SCOPED_TRACE(mode);
    write_file(path, "a longer old text");
    static_cast<void>(chown(path.c_str(), 1234, 4321) == 0); // only for root
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    setxattr(path.c_str(), "user.note", "kept", 4, 0);
    std::string const note = note_of(path);
    struct stat const old = status_of(path);
    EXPECT_EQ(replace(path, "new"), RESULT_SUCCESS);
    struct stat const now = status_of(path);
    EXPECT_NE(now.st_ino, old.st_ino) << "written in place";
    EXPECT_EQ(now.st_mode, old.st_mode);
    EXPECT_EQ(now.st_uid, old.st_uid);
    EXPECT_EQ(now.st_gid, old.st_gid);
    EXPECT_EQ(note_of(path), note);
  }
}

TEST(ReplaceFile, FollowsLinks) {
  TemporaryDirectory const directory;
  std::filesystem::create_directory(directory.path("a"));
  std::filesystem::create_symlink("a/second", directory.path("first"));
  std::filesystem::create_symlink("file", directory.path("a/second"));
  std::filesystem::create_symlink("a\\file", directory.path("elsewhere"));
  std::filesystem::create_symlink("loop", directory.path("loop"));
  for (char const *text : {"the target is made", "the target is replaced"}) {
    EXPECT_EQ(replace(directory.path("first"), text), RESULT_SUCCESS);
    EXPECT_EQ(read_file(directory.path("a/file")), text);
  }
  EXPECT_EQ(replace(directory.path("elsewhere"), "x"), RESULT_IO_ERROR);
  write_file(directory.path("a\\file"), "old"); // its name has a backslash
  EXPECT_EQ(replace(directory.path("elsewhere"), "new"), RESULT_SUCCESS);
  EXPECT_EQ(read_file(directory.path("a\\file")), "new");
  EXPECT_EQ(read_file(directory.path("a/file")), "the target is replaced");
  EXPECT_EQ(replace(directory.path("loop"), "x"), RESULT_IO_ERROR);
  // The link of an open file that has been removed names another file by its text.
  write_file(directory.path("open"), "");
  int const open_file = ::open(directory.path("open").c_str(), O_RDWR);
  unlink(directory.path("open").c_str());
  write_file(directory.path("open (deleted)"), "kept");
  replace("/proc/self/fd/" + std::to_string(open_file), "new");
  EXPECT_EQ(read_file(directory.path("open (deleted)")), "kept");
  close(open_file);
  for (char const *link : {"first", "a/second", "elsewhere", "loop"}) {
    EXPECT_TRUE(std::filesystem::is_symlink(directory.path(link))) << link;
  }
}

TEST(ReplaceFile, WritesInPlaceWhereARenameIsImpossible) {
  TemporaryDirectory const directory;
  write_file(directory.path("file"), "old");
  std::string const no_room_for_a_name = directory.path(std::string(4000, '/') + "file");
  EXPECT_EQ(replace(no_room_for_a_name, "new"), RESULT_SUCCESS);
  EXPECT_EQ(read_file(directory.path("file")), "new");
  EXPECT_EQ(replace("/dev/null", "text"), RESULT_SUCCESS);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(ReplaceFile, RefusesFilesThatCannotBeWritten) {
  TemporaryDirectory const directory;
  ASSERT_EQ(mkfifo(directory.path("pipe").c_str(), 0600), 0);
  ASSERT_EQ(mknod(directory.path("socket").c_str(), S_IFSOCK | 0600, 0), 0);
  CapturedLog log("Ostrel.Core.Base.Win32Platform", LoggingPriority::DEBUG);
  for (char const *name : {"pipe", "socket", "pipe/file"}) {
    EXPECT_EQ(replace(directory.path(name), "x"), RESULT_IO_ERROR) << name;
  }
  EXPECT_EQ(log.take().back(),
            "DEBUG - Failed to write '" + directory.path("pipe/file") + "': Not a directory");
  EXPECT_EQ(Platform::file_exists(directory.path("pipe").c_str()), RESULT_SUCCESS);
  EXPECT_EQ(count_entries(directory.path()), 2);
  std::vector<std::string> files;
  EXPECT_EQ(Platform::get_file_list(directory.path().c_str(), "", &files), RESULT_SUCCESS);
  EXPECT_TRUE(files.empty()) << "neither is a regular file";
}

Role const replace_as_nobody("replace-as-nobody", [](Role::Arguments const &arguments) {
  return setgid(NOBODY) != 0 || setuid(NOBODY) != 0 ? 99 : int(replace(arguments[0], "new"));
});

TEST(ReplaceFile, NeedsPermissionForTheFileNotTheDirectory) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs two users";
  }
  struct {
    char const *name;
    uid_t owner;
    mode_t file, directory;
    int result;
    bool is_in_place;
  } const cases[] = {{"own file, own directory", NOBODY, 0600, 0777, 0, false},
                     {"another's file that may be written", 0, 0666, 0777, 0, true},
                     {"directory that may not be written", NOBODY, 0600, 0755, 0, true},
                     {"file that may not be written", 0, 0644, 0777, RESULT_IO_ERROR, true},
                     {"own file without the permission", NOBODY, 0400, 0777, RESULT_IO_ERROR, true},
                     {"file that may only be written", NOBODY, 0200, 0755, 0, true}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.name);
    TemporaryDirectory const directory;
    std::string const path = directory.path("file");
    write_file(path, "old text");
    ASSERT_EQ(chown(path.c_str(), c.owner, c.owner), 0);
    chmod(path.c_str(), c.file);
    chmod(directory.path().c_str(), c.directory);
    struct stat const old = status_of(path);
    EXPECT_EQ(run_child("replace-as-nobody", {path}).status, c.result);
    EXPECT_EQ(read_file(path), c.result == 0 ? "new" : "old text");
    EXPECT_EQ(status_of(path).st_ino == old.st_ino, c.is_in_place);
    EXPECT_EQ(status_of(path).st_uid, c.owner);
    EXPECT_EQ(status_of(path).st_mode, old.st_mode);
    EXPECT_EQ(count_entries(directory.path()), 1);
  }
}

TEST(ReplaceFile, RemovesOldTemporaryFilesOfKilledProcesses) {
  TemporaryDirectory const first, second;
  auto const old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(25);
  for (TemporaryDirectory const *directory : {&first, &second}) {
    for (char const *name : {".ostbase-1-1-1.tmp", ".ostbase-1-1-2.tmp", "old"}) {
      write_file(directory->path(name), "left over");
    }
    std::filesystem::last_write_time(directory->path(".ostbase-1-1-1.tmp"), old);
    std::filesystem::last_write_time(directory->path("old"), old);
    std::filesystem::create_symlink("old", directory->path(".ostbase-1-1-3.tmp"));
  }
  // In a path this name would mean a file elsewhere.
  TemporaryDirectory const elsewhere;
  write_file(elsewhere.path("old.tmp"), "of others");
  std::filesystem::last_write_time(elsewhere.path("old.tmp"), old);
  std::filesystem::create_symlink(elsewhere.path(), first.path(".ostbase-x"));
  write_file(first.path(".ostbase-x\\old.tmp"), "");
  for (TemporaryDirectory const *directory : {&first, &second}) {
    EXPECT_EQ(replace(directory->path("file"), "new"), RESULT_SUCCESS);
    EXPECT_FALSE(std::filesystem::exists(directory->path(".ostbase-1-1-1.tmp")));
    EXPECT_EQ(count_entries(directory->path()), directory == &first ? 6 : 4);
  }
  EXPECT_EQ(count_entries(elsewhere.path()), 1);
}

// Output to a closed standard stream must not go into a file with the same descriptor.
Role const write_without_stream("write-without-stream", [](Role::Arguments const &arguments) {
  close(STDERR_FILENO); // the descriptor of the next file
  FileLoggingOutput output(arguments[0].c_str());
  output.write_method("line"); // opens the file, and leaves it open
  Platform::write_standard_error("stray", 5);
  return read_file(arguments[0]) == "line" ? 0 : 1;
});

TEST(Files, ReceiveNoOutputOfAClosedStream) {
  TemporaryDirectory const directory;
  EXPECT_EQ(run_child("write-without-stream", {directory.path("file")}).status, 0);
}

TEST(Files, AWriteMayNeedMoreThanOneSystemCall) {
  constexpr std::ptrdiff_t SIZE = std::ptrdiff_t{1} << 32;
  void *const bytes =
      mmap(nullptr, SIZE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  int const nowhere = open("/dev/null", O_WRONLY);
  EXPECT_EQ(Platform::write_descriptor(nowhere, bytes, SIZE), SIZE);
  EXPECT_EQ(Platform::write_descriptor(nowhere, nullptr, 1), -1);
  EXPECT_EQ(Platform::write_descriptor(nowhere, nullptr, 0), 0);
  close(nowhere);
  EXPECT_EQ(Platform::write_descriptor(nowhere, bytes, 0), -1);
  munmap(bytes, SIZE);
}

Role const write_to_nobody("write-to-nobody", [](Role::Arguments const &) {
  int ends[2];
  if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) == -1 || close(ends[0]) != 0) {
    return 1;
  }
  Platform::write_standard_error("x", 1);
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE);
});

TEST(Files, StandardErrorMayBeABrokenPipe) {
  EXPECT_EQ(run_child("write-to-nobody").status, 0);
}

} // namespace
