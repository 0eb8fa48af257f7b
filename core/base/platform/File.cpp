// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/File.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>

namespace Ostrel {

namespace {

constexpr std::size_t LARGEST_TRANSFER = 0x40000000; // bytes in one call
constexpr std::size_t LONGEST_PATH = 32768;          // characters, terminator included

std::uint64_t joined(DWORD high, DWORD low) {
  return std::uint64_t{high} << 32 | low;
}

} // namespace

bool is_temporary(std::uint32_t error) noexcept {
  switch (error) {
  case ERROR_SUCCESS:
  case ERROR_FILE_NOT_FOUND:
  case ERROR_PATH_NOT_FOUND:
  case ERROR_ACCESS_DENIED:
  case ERROR_INVALID_PARAMETER: // a name that the file system does not support
  case ERROR_INVALID_NAME:
  case ERROR_FILENAME_EXCED_RANGE:
  case ERROR_NOT_SUPPORTED:
    return false;
  default:
    return true;
  }
}

bool file_was_missing() noexcept {
  DWORD const error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

std::uint32_t transfer_size(std::size_t size) noexcept {
  return static_cast<std::uint32_t>(std::min(size, LARGEST_TRANSFER));
}

void CloseFile::operator()(void *file) const noexcept {
  CloseHandle(file);
}

OpenFile open_file(char const *path, std::uint32_t access, std::uint32_t disposition,
                   NewFile permissions) noexcept {
  constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  DWORD const share_mode = permissions == NewFile::PRIVATE ? 0 : SHARE_ALL;
  void *const file =
      CreateFileA(path, access, share_mode, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  return OpenFile(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

std::size_t write_whole(void *handle, void const *data, std::size_t size) noexcept {
  auto const *bytes = static_cast<char const *>(data);
  std::size_t written = 0;
  while (written < size) {
    DWORD count = 0;
    DWORD const wanted = transfer_size(size - written);
    if (WriteFile(handle, bytes + written, wanted, &count, nullptr) == FALSE || count == 0) {
      return written;
    }
    written += count;
  }
  return written;
}

std::string native_form_of(std::string path) {
  to_native_path(path.data());
  path.resize(std::strlen(path.c_str()));
  return path;
}

bool find_link_target(char const *path, std::string *target) {
  target->assign(LONGEST_PATH, '\0');
  bool const is_found = follow_links(path, target->data(), target->size());
  target->resize(std::strlen(target->c_str()));
  return is_found;
}

unsigned long File::open_for_reading(char const *path) noexcept {
  return open(path, GENERIC_READ, OPEN_EXISTING);
}

unsigned long File::open_for_appending(char const *path) noexcept {
  return open(path, FILE_APPEND_DATA, OPEN_ALWAYS);
}

unsigned long File::open(char const *path, std::uint32_t access,
                         std::uint32_t disposition) noexcept {
  file_ = open_file(path, access, disposition);
  if (is_open()) {
    return RESULT_SUCCESS;
  }
  DWORD const error = GetLastError();
  if (error == ERROR_NOT_ENOUGH_MEMORY) {
    return RESULT_OUT_OF_MEMORY;
  }
  return is_temporary(error) ? RESULT_SYSTEM_ERROR : RESULT_NOT_FOUND;
}

bool File::read(void *buffer, std::size_t size, std::size_t *count) noexcept {
  DWORD read = 0;
  if (ReadFile(file_.get(), buffer, transfer_size(size), &read, nullptr) == FALSE) {
    return false;
  }
  *count = read;
  return true;
}

std::size_t File::write(void const *data, std::size_t size) noexcept {
  return write_whole(file_.get(), data, size);
}

unsigned long long File::size() const noexcept {
  LARGE_INTEGER size = {};
  return GetFileSizeEx(file_.get(), &size) == FALSE
             ? 0
             : static_cast<unsigned long long>(size.QuadPart);
}

bool File::is_regular() const noexcept {
  return GetFileType(file_.get()) == FILE_TYPE_DISK;
}

bool File::get_identity(FileIdentity *identity) const noexcept {
  BY_HANDLE_FILE_INFORMATION information = {};
  if (GetFileInformationByHandle(file_.get(), &information) == FALSE) {
    return false;
  }
  FILETIME const &time = information.ftLastWriteTime;
  *identity = {information.dwVolumeSerialNumber,
               joined(information.nFileIndexHigh, information.nFileIndexLow),
               joined(information.nFileSizeHigh, information.nFileSizeLow),
               joined(time.dwHighDateTime, time.dwLowDateTime)};
  return true;
}

std::uint32_t for_each_match(char const *query,
                             std::function<void(char const *name)> const &action) {
  struct Close {
    void operator()(void *search) const noexcept { FindClose(search); }
  };
  WIN32_FIND_DATAA data = {};
  void *const started = FindFirstFileA(query, &data);
  if (started == INVALID_HANDLE_VALUE) {
    return GetLastError();
  }
  std::unique_ptr<void, Close> const search(started);
  do {
    action(data.cFileName);
  } while (FindNextFileA(search.get(), &data) != FALSE);
  return GetLastError();
}

} // namespace Ostrel
