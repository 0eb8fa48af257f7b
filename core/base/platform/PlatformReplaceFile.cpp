// SPDX-License-Identifier: Apache-2.0
// Saving a file without a moment at which it holds neither the old bytes nor the new ones: the new
// ones are on the disk, under a name of their own, before they take the file's name.
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>

namespace Ostrel {

namespace {

constexpr DWORD SHARED = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD UNSHARED = 0;
constexpr std::size_t LONGEST_PATH = 32768; // characters, terminator included
constexpr int NAME_ATTEMPTS = 100;          // a name that is taken is one that a kill left behind

LoggingCategory &category() {
  static LoggingCategory &instance =
      LoggingCategory::get_instance("Ostrel.Core.Base.Win32Platform");
  return instance;
}

struct CloseFile {
  void operator()(void *file) const noexcept { CloseHandle(file); }
};
using OpenFile = std::unique_ptr<void, CloseFile>;

struct Contents {
  char const *data;
  std::size_t size;
};

enum class Outcome { DONE, FAILED, WOULD_LOSE };

// Null, with the last error, when it cannot be opened.
OpenFile open_for_writing(std::string const &path, DWORD share_mode, DWORD disposition) {
  void *const file = CreateFileA(path.c_str(), GENERIC_WRITE, share_mode, nullptr, disposition,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
  return OpenFile(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

// A file that is there for the time of a save; removed unless it has become the real one.
class TemporaryFile {
public:
  TemporaryFile() = default;
  TemporaryFile(TemporaryFile const &) = delete;
  TemporaryFile &operator=(TemporaryFile const &) = delete;
  ~TemporaryFile() {
    file_.reset();
    if (is_there_) {
      DeleteFileA(path_.c_str());
    }
  }

  // Makes the file in the directory of `target`; false, with the last error, when it cannot be had.
  bool create(std::string const &target, DWORD share_mode) {
    std::string const directory = target.substr(0, target.find_last_of("/\\") + 1);
    for (int attempt = 0; attempt < NAME_ATTEMPTS && !is_there_; ++attempt) {
      path_ = directory + unique_name();
      file_ = open_for_writing(path_, share_mode, CREATE_NEW);
      is_there_ = file_ != nullptr;
      if (!is_there_ && GetLastError() != ERROR_FILE_EXISTS) {
        return false;
      }
    }
    return is_there_;
  }

  // Writes the bytes to the disk and closes the file.
  bool fill(Contents const &contents) {
    bool const is_written =
        write_whole(file_.get(), contents.data, contents.size) == contents.size &&
        FlushFileBuffers(file_.get()) != FALSE;
    DWORD const error = GetLastError();
    file_.reset();
    SetLastError(error);
    return is_written;
  }

  bool replace(std::string const &target) {
    is_there_ = ReplaceFileA(target.c_str(), path_.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH,
                             nullptr, nullptr) == FALSE;
    return !is_there_;
  }

  bool become(std::string const &target) {
    is_there_ = MoveFileExA(path_.c_str(), target.c_str(),
                            MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == FALSE;
    return !is_there_;
  }

private:
  static std::string unique_name() {
    static std::atomic<unsigned long> counter{0};
    return ".ostbase-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter) +
           ".tmp";
  }

  std::string path_;
  OpenFile file_;
  bool is_there_ = false;
};

std::string link_target(char const *path) {
  std::string target(LONGEST_PATH, '\0');
  // Links that lead nowhere are left to the opening of the path, which fails with the reason.
  if (!follow_links(path, target.data(), target.size())) {
    return path;
  }
  target.resize(std::strlen(target.c_str()));
  return target;
}

Outcome failed_or_would_lose() {
  DWORD const error = GetLastError();
  return error == ERROR_NOT_SUPPORTED || error == ERROR_ACCESS_DENIED ? Outcome::WOULD_LOSE
                                                                      : Outcome::FAILED;
}

Outcome replace_by_name(std::string const &target, Contents const &contents) {
  TemporaryFile temporary;
  // Until it has the old one's permissions, nobody else may read it.
  if (!temporary.create(target, UNSHARED)) {
    return failed_or_would_lose();
  }
  if (!temporary.fill(contents)) {
    return Outcome::FAILED;
  }
  return temporary.replace(target) ? Outcome::DONE : failed_or_would_lose();
}

bool write_new(std::string const &target, Contents const &contents) {
  TemporaryFile temporary;
  return temporary.create(target, SHARED) && temporary.fill(contents) && temporary.become(target);
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

bool end_at(HANDLE file, std::size_t position) {
  return seek(file, position) && SetEndOfFile(file) != FALSE;
}

// What goes beyond the old end comes first: it alone needs room on the disk, and where there is
// none the file gets its old end back.
bool overwrite(HANDLE file, Contents const &contents) {
  if (GetFileType(file) != FILE_TYPE_DISK) {
    return write_whole(file, contents.data, contents.size) == contents.size;
  }
  LARGE_INTEGER old_size = {};
  if (GetFileSizeEx(file, &old_size) == FALSE) {
    return false;
  }
  std::size_t const kept = std::min(contents.size, static_cast<std::size_t>(old_size.QuadPart));
  Contents const head = {contents.data, kept};
  Contents const tail = {contents.data + kept, contents.size - kept};
  if (tail.size > 0 && !write_at(file, kept, tail)) {
    DWORD const error = GetLastError();
    end_at(file, kept);
    SetLastError(error);
    return false;
  }
  return write_at(file, 0, head) && end_at(file, contents.size) && FlushFileBuffers(file) != FALSE;
}

// Opening the old file for writing is what asks whether the caller may: the directory, in which a
// rename happens, does not say.
bool replace(std::string const &target, Contents const &contents) {
  OpenFile const old = open_for_writing(target, SHARED, OPEN_EXISTING);
  if (old == nullptr) {
    return GetLastError() == ERROR_FILE_NOT_FOUND && write_new(target, contents);
  }
  Outcome const outcome = GetFileType(old.get()) == FILE_TYPE_DISK
                              ? replace_by_name(target, contents)
                              : Outcome::WOULD_LOSE;
  return outcome == Outcome::DONE ||
         (outcome == Outcome::WOULD_LOSE && overwrite(old.get(), contents));
}

} // namespace

unsigned long Platform::replace_file(char const *path, char const *data, std::size_t size) try {
  if (path == nullptr || (data == nullptr && size > 0)) {
    return RESULT_INVALID_ARGUMENT;
  }
  if (!replace(link_target(path), {data, size})) {
    DWORD const error = GetLastError();
    category().debug("Failed to write '%s': error %lu", path, static_cast<unsigned long>(error));
    return error == ERROR_NOT_ENOUGH_MEMORY ? RESULT_OUT_OF_MEMORY : RESULT_IO_ERROR;
  }
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
