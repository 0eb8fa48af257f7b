// SPDX-License-Identifier: Apache-2.0
// Replaces a file atomically: writes the new bytes to a temporary file, flushes it to the disk, and
// renames it.
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/FileSearch.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/Win32PlatformCategory.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>

namespace Ostrel {

namespace {

constexpr std::size_t LONGEST_PATH = 32768; // characters, terminator included
constexpr std::size_t BLOCK_SIZE = 16384;   // bytes, in one read
constexpr int NAME_ATTEMPTS = 10;           // each with another name

struct Contents {
  char const *data;
  std::size_t size;
};

enum class Outcome { DONE, FAILED, WOULD_LOSE };

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

// Removes the temporary files of killed processes. Judged by their age, since the process number in
// a name may belong to another machine. If the clock is set forward by more than a day during a
// save, that save fails, and the target keeps the old bytes. Throws std::bad_alloc.
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

// The temporary file of a save. The destructor removes it unless it was renamed.
class TemporaryFile {
public:
  TemporaryFile() = default;
  TemporaryFile(TemporaryFile const &) = delete;
  TemporaryFile &operator=(TemporaryFile const &) = delete;
  ~TemporaryFile() {
    LastErrorGuard const guard;
    file_.reset();
    if (exists_) {
      DeleteFileA(path_.c_str());
    }
  }

  // Creates the file in the directory of `target`. False, with the last error, on failure.
  bool create(std::string const &target, NewFile permissions) {
    std::string const directory = target.substr(0, target.find_last_of("/\\") + 1);
    remove_left_over(directory); // first, since these files may fill the disk
    for (int attempt = 0; attempt < NAME_ATTEMPTS && !exists_; ++attempt) {
      path_ = directory + unique_name();
      file_ = open_file(path_.c_str(), GENERIC_WRITE, CREATE_NEW, permissions);
      exists_ = file_ != nullptr;
      if (!exists_ && GetLastError() != ERROR_FILE_EXISTS) {
        return false;
      }
    }
    return exists_;
  }

  // Writes the bytes to the disk and closes the file.
  bool fill(Contents const &contents) {
    bool const is_written =
        write_whole(file_.get(), contents.data, contents.size) == contents.size &&
        FlushFileBuffers(file_.get()) != FALSE;
    LastErrorGuard const guard;
    file_.reset();
    return is_written;
  }

  bool replace(std::string const &target) {
    exists_ = ReplaceFileA(target.c_str(), path_.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH,
                           nullptr, nullptr) == FALSE;
    return !exists_;
  }

  bool rename_to(std::string const &target) {
    exists_ = MoveFileExA(path_.c_str(), target.c_str(),
                          MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == FALSE;
    return !exists_;
  }

private:
  // The process and the counter distinguish concurrent saves; the time distinguishes them from the
  // files of a killed process with the same number.
  static std::string unique_name() {
    static std::atomic<unsigned long> counter{0};
    LARGE_INTEGER now = {};
    QueryPerformanceCounter(&now);
    return NAME_BEGIN + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(now.QuadPart) +
           "-" + std::to_string(++counter) + NAME_END;
  }

  std::string path_;
  OpenFile file_;
  bool exists_ = false;
};

// False, with the last error, if the links cannot be followed.
bool find_target(char const *path, std::string *target) {
  target->resize(LONGEST_PATH);
  bool const is_followed = follow_links(path, target->data(), target->size());
  target->resize(is_followed ? std::strlen(target->c_str()) : 0);
  return is_followed;
}

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

Outcome replace_by_name(std::string const &target, Contents const &contents) {
  TemporaryFile temporary;
  // Private until it has the permissions of the old file.
  if (!temporary.create(target, NewFile::PRIVATE)) {
    return failed_or_would_lose();
  }
  if (!temporary.fill(contents)) {
    return Outcome::FAILED;
  }
  return temporary.replace(target) ? Outcome::DONE : failed_or_would_lose();
}

bool write_new(std::string const &target, Contents const &contents) {
  TemporaryFile temporary;
  return temporary.create(target, NewFile::SHARED) && temporary.fill(contents) &&
         temporary.rename_to(target);
}

bool seek(HANDLE file, std::size_t position) {
  LARGE_INTEGER distance = {};
  distance.QuadPart = static_cast<std::int64_t>(position);
  return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) != FALSE;
}

bool write_at(HANDLE file, std::size_t position, Contents const &contents) {
  return seek(file, position) && write_whole(file, contents.data, contents.size) == contents.size &&
         FlushFileBuffers(file) != FALSE;
}

bool truncate(HANDLE file, std::size_t position) {
  return seek(file, position) && SetEndOfFile(file) != FALSE;
}

// Reads the whole file, or nothing if the caller may not read it. False, with the last error, on a
// temporary error. Throws std::bad_alloc.
bool read_if_allowed(std::string const &path, std::string *bytes) {
  File file;
  unsigned long const result = file.open_for_reading(path.c_str());
  if (result == RESULT_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  if (result != RESULT_SUCCESS) {
    return result == RESULT_NOT_FOUND;
  }
  char block[BLOCK_SIZE];
  std::size_t count = 0;
  bool is_read = file.read(block, sizeof block, &count);
  while (is_read && count > 0) {
    bytes->append(block, count);
    is_read = file.read(block, sizeof block, &count);
  }
  return is_read;
}

// Writes the part beyond the old end first: only that part needs space on the disk.
bool write_over(HANDLE file, std::size_t old_size, Contents const &contents) {
  std::size_t const kept = std::min(contents.size, old_size);
  Contents const head = {contents.data, kept};
  Contents const tail = {contents.data + kept, contents.size - kept};
  return (tail.size == 0 || write_at(file, kept, tail)) && write_at(file, 0, head) &&
         truncate(file, contents.size) && FlushFileBuffers(file) != FALSE;
}

// Keeps the old bytes in memory, if the caller may read them, and writes them back if a step fails.
bool overwrite(HANDLE file, std::string const &path, Contents const &contents) {
  if (GetFileType(file) != FILE_TYPE_DISK) {
    return write_whole(file, contents.data, contents.size) == contents.size;
  }
  std::string old;
  LARGE_INTEGER size = {};
  if (!read_if_allowed(path, &old) || GetFileSizeEx(file, &size) == FALSE) {
    return false;
  }
  auto const old_size = static_cast<std::size_t>(size.QuadPart);
  if (write_over(file, old_size, contents)) {
    return true;
  }
  LastErrorGuard const guard;
  write_at(file, 0, {old.data(), old.size()});
  truncate(file, old_size);
  return false;
}

// Opens the old file for writing to check the caller's permission: a rename only needs permission
// to write the directory.
bool replace(std::string const &target, Contents const &contents) {
  OpenFile const old = open_file(target.c_str(), GENERIC_WRITE, OPEN_EXISTING);
  if (old == nullptr) {
    return GetLastError() == ERROR_FILE_NOT_FOUND && write_new(target, contents);
  }
  BY_HANDLE_FILE_INFORMATION information = {};
  bool const is_on_disk = GetFileType(old.get()) == FILE_TYPE_DISK;
  if (is_on_disk && GetFileInformationByHandle(old.get(), &information) == FALSE) {
    return false;
  }
  // A file that another program has just replaced has 0 links, and is not overwritten in place: its
  // readers keep the old contents.
  bool const has_further_names = information.nNumberOfLinks > 1;
  Outcome const outcome =
      is_on_disk && !has_further_names ? replace_by_name(target, contents) : Outcome::WOULD_LOSE;
  return outcome == Outcome::DONE ||
         (outcome == Outcome::WOULD_LOSE && overwrite(old.get(), target, contents));
}

} // namespace

unsigned long Platform::replace_file(char const *path, char const *data, std::size_t size) try {
  if (path == nullptr || (data == nullptr && size > 0)) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string target;
  if (!find_target(path, &target) || !replace(target, {data, size})) {
    DWORD const error = GetLastError();
    SystemErrorText const reason;
    win32_platform_category().debug("Failed to write '%s': %s", path, reason.c_str());
    return error == ERROR_NOT_ENOUGH_MEMORY ? RESULT_OUT_OF_MEMORY : RESULT_IO_ERROR;
  }
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
