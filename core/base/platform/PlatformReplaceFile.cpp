// SPDX-License-Identifier: Apache-2.0
// Replaces a file atomically: writes the new bytes to a temporary file, flushes it to the disk, and
// renames it.
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdint>
#include <new>
#include <optional>
#include <string_view>

namespace Ostrel {

namespace {

constexpr std::size_t BLOCK_SIZE = 16384; // bytes, in one read

ClassCategory category("Ostrel.Core.Base.Win32Platform");

// --- Temporary files of killed processes ------------------------------------------------------

constexpr char NAME_BEGIN[] = ".ostbase-", NAME_END[] = ".tmp"; // of all temporary files

// One day, in steps of 100 ns: longer than any save, even if the machine sleeps meanwhile.
constexpr std::int64_t LEFT_OVER_AFTER = 24LL * 60 * 60 * 10000000;

std::int64_t steps_of(FILETIME const &time) {
  return static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

// Does not open the file: a link or a device of such a name is not a temporary file.
bool is_left_over(std::string const &path) {
  constexpr DWORD NO_FILE =
      FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT;
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  FILETIME now = {};
  GetSystemTimeAsFileTime(&now);
  return GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) != FALSE &&
         (data.dwFileAttributes & NO_FILE) == 0 &&
         steps_of(now) - steps_of(data.ftLastWriteTime) > LEFT_OVER_AFTER;
}

// Removes the temporary files of killed processes, judged by their age: they may be of another
// machine. If the clock is set forward by more than a day during a save, that save fails, and the
// target keeps the old bytes. Throws std::bad_alloc.
void remove_left_over(std::string const &directory) {
  std::string const query = directory + NAME_BEGIN + "*" + NAME_END;
  DWORD const end = for_each_match(query.c_str(), [&directory](char const *name) {
    std::string const path = directory + name;
    if (can_be_named(name) && is_left_over(path)) {
      DeleteFileA(path.c_str());
    }
  });
  if (end == ERROR_NOT_ENOUGH_MEMORY) {
    throw std::bad_alloc();
  }
}

// --- A save -----------------------------------------------------------------------------------

enum class Target { MISSING, EXISTING };

enum class Outcome { DONE, FAILED, WOULD_LOSE };

// Of the creation of a temporary file, or of its rename, by the last error.
Outcome failed_or_would_lose() {
  switch (GetLastError()) {
  case ERROR_NOT_SUPPORTED:
  case ERROR_ACCESS_DENIED:
  case ERROR_SHARING_VIOLATION:         // on Windows a reader of the target prevents the rename
  case ERROR_UNABLE_TO_REMOVE_REPLACED: // likewise
  case ERROR_FILENAME_EXCED_RANGE:      // of the temporary file alone: the target has been opened
    return Outcome::WOULD_LOSE;
  default:
    return Outcome::FAILED;
  }
}

// The thread distinguishes concurrent saves of one machine; the time distinguishes them from
// earlier ones. If the name exists all the same, the save fails.
std::string unique_name() {
  LARGE_INTEGER now = {};
  QueryPerformanceCounter(&now);
  return NAME_BEGIN + std::to_string(GetCurrentThreadId()) + "-" + std::to_string(now.QuadPart) +
         NAME_END;
}

bool rename(std::string const &from, std::string const &to, Target kind) {
  if (kind == Target::EXISTING) {
    return ReplaceFileA(to.c_str(), from.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH, nullptr,
                        nullptr) != FALSE;
  }
  return MoveFileExA(from.c_str(), to.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}

// Writes a temporary file and renames it. For an existing target, the file is private until it has
// the target's permissions. WOULD_LOSE, with nothing done, if that is impossible or if the rename
// would lose something of the target. Otherwise FAILED, with the last error.
Outcome write_and_rename(std::string const &target, std::string_view contents, Target kind) {
  std::string const directory = target.substr(0, target.find_last_of("/\\") + 1);
  remove_left_over(directory); // first, since these files may fill the disk
  std::string const path = directory + unique_name();
  OpenFile file = open_file(path.c_str(), GENERIC_WRITE, CREATE_NEW,
                            kind == Target::EXISTING ? NewFile::PRIVATE : NewFile::SHARED);
  if (file == nullptr) {
    return failed_or_would_lose();
  }
  bool const needs_flush = kind == Target::MISSING || !REPLACE_FILE_FLUSHES;
  bool const is_written =
      write_whole(file.get(), contents.data(), contents.size()) == contents.size() &&
      (!needs_flush || FlushFileBuffers(file.get()) != FALSE);
  file.reset(); // Windows renames no open file
  if (is_written && rename(path, target, kind)) {
    return Outcome::DONE;
  }
  Outcome const outcome = is_written ? failed_or_would_lose() : Outcome::FAILED;
  LastErrorGuard const guard;
  DeleteFileA(path.c_str());
  return outcome;
}

// Reads the whole file, or nothing if the caller may not read it. False, with the last error, on a
// temporary error. Throws std::bad_alloc.
bool read_if_allowed(std::string const &path, std::optional<std::string> *bytes) {
  File file;
  unsigned long const result = file.open_for_reading(path.c_str());
  if (result == RESULT_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  if (result != RESULT_SUCCESS) {
    return result == RESULT_NOT_FOUND;
  }
  bytes->emplace();
  char block[BLOCK_SIZE];
  for (std::size_t count = sizeof block; count > 0;) {
    if (!file.read(block, sizeof block, &count)) {
      return false;
    }
    (*bytes)->append(block, count);
  }
  return true;
}

bool write_over(HANDLE file, std::string_view contents) {
  return SetFilePointerEx(file, LARGE_INTEGER{}, nullptr, FILE_BEGIN) != FALSE &&
         write_whole(file, contents.data(), contents.size()) == contents.size() &&
         SetEndOfFile(file) != FALSE && FlushFileBuffers(file) != FALSE;
}

// Keeps the old bytes in memory, if the caller may read them, and writes them back if a step fails.
bool overwrite(HANDLE file, std::string const &path, std::string_view contents) {
  std::optional<std::string> old;
  if (!read_if_allowed(path, &old)) {
    return false;
  }
  if (write_over(file, contents)) {
    return true;
  }
  LastErrorGuard const guard;
  if (old) {
    write_over(file, *old);
  }
  return false;
}

// Opens the old file for writing to check the caller's permission: a rename only needs permission
// to write the directory.
bool replace(std::string const &target, std::string_view contents) {
  OpenFile const old = open_file(target.c_str(), GENERIC_WRITE, OPEN_EXISTING);
  if (old == nullptr) {
    return GetLastError() == ERROR_FILE_NOT_FOUND &&
           write_and_rename(target, contents, Target::MISSING) == Outcome::DONE;
  }
  if (GetFileType(old.get()) != FILE_TYPE_DISK) {
    return write_whole(old.get(), contents.data(), contents.size()) == contents.size();
  }
  BY_HANDLE_FILE_INFORMATION information = {};
  if (GetFileInformationByHandle(old.get(), &information) == FALSE) {
    return false;
  }
  // A file that another program has just replaced has 0 links, and is not overwritten in place: its
  // readers keep the old contents.
  Outcome const outcome = information.nNumberOfLinks > 1
                              ? Outcome::WOULD_LOSE
                              : write_and_rename(target, contents, Target::EXISTING);
  return outcome == Outcome::DONE ||
         (outcome == Outcome::WOULD_LOSE && overwrite(old.get(), target, contents));
}

} // namespace

unsigned long Platform::replace_file(char const *path, char const *data, std::size_t size) try {
  if (path == nullptr || (data == nullptr && size > 0)) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string target;
  if (find_link_target(path, &target) && replace(target, {data, size})) {
    return RESULT_SUCCESS;
  }
  DWORD const error = GetLastError();
  SystemErrorText const reason;
  category().debug("Failed to write '%s': %s", path, reason.c_str());
  return error == ERROR_NOT_ENOUGH_MEMORY ? RESULT_OUT_OF_MEMORY : RESULT_IO_ERROR;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
