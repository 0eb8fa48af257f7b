// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cctype>
#include <cstring>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr DWORD FIRST_DIRECTORY_SIZE = 261; // characters, terminator included

} // namespace

char const *Platform::get_line_delimiter() {
  return "\r\n";
}

char const *Platform::get_path_delimiter() {
  return "\\";
}

char const *Platform::get_search_path_delimiter() {
  return ";";
}

bool Platform::is_absolute_path(char const *path) {
  if (path == nullptr) {
    return false;
  }
  if (is_separator(path[0])) {
    return true;
  }
  bool const has_drive = std::isalpha(static_cast<unsigned char>(path[0])) != 0 && path[1] == ':';
  return (has_drive && is_separator(path[2])) || (path[0] == '.' && is_separator(path[1]));
}

bool Platform::make_absolute_path(char const *path, std::string *out) try {
  if (path == nullptr || path[0] == '\0' || out == nullptr) {
    return false;
  }
  if (is_absolute_path(path)) {
    *out = path;
    return true;
  }
  char directory[MAX_PATH];
  if (_getcwd(directory, static_cast<int>(sizeof directory)) == nullptr) {
    return false;
  }
  *out = std::string(directory) + get_path_delimiter() + path;
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

std::string Platform::native_path(char const *path) try {
  return path == nullptr ? std::string() : native_form_of(path);
} catch (std::bad_alloc const &) {
  return {};
}

unsigned long Platform::get_current_directory(std::string *out) try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string directory;
  DWORD needed = FIRST_DIRECTORY_SIZE;
  // Retried until the path fits: another thread may change to a longer one in between.
  while (needed > directory.size()) {
    directory.resize(needed);
    needed = GetCurrentDirectoryA(needed, directory.data());
    if (needed == 0) {
      return GetLastError() == ERROR_NOT_ENOUGH_MEMORY ? RESULT_OUT_OF_MEMORY : RESULT_IO_ERROR;
    }
  }
  directory.resize(std::strlen(directory.c_str()));
  *out = std::move(directory);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
