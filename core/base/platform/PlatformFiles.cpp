// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Win32PlatformCategory.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

using Names = std::vector<std::string>;

struct CloseSearch {
  void operator()(void *search) const noexcept { FindClose(search); }
};
using Search = std::unique_ptr<void, CloseSearch>;

// Tells why a search has ended, unless it came to its end.
unsigned long search_result(std::string const &query) {
  DWORD const error = GetLastError();
  if (error == ERROR_NOT_ENOUGH_MEMORY) {
    return RESULT_OUT_OF_MEMORY;
  }
  if (error != ERROR_NO_MORE_FILES) {
    win32_platform_category().debug("Failed to search '%s': error %lu", query.c_str(),
                                    static_cast<unsigned long>(error));
  }
  return RESULT_SUCCESS;
}

// Calls `visit` with every name that matches, and says in `has_matches` whether there was one.
// Gives RESULT_SUCCESS, also when the directory cannot be read, or RESULT_OUT_OF_MEMORY.
template <typename Visit>
unsigned long for_each_match(std::string const &query, bool *has_matches, Visit visit) {
  WIN32_FIND_DATAA data = {};
  void *const started = FindFirstFileA(query.c_str(), &data);
  *has_matches = started != INVALID_HANDLE_VALUE;
  if (!*has_matches) {
    return search_result(query);
  }
  Search const search(started);
  do {
    visit(data.cFileName);
  } while (FindNextFileA(search.get(), &data) != FALSE);
  return search_result(query);
}

bool is_kind(struct __stat64 const &status, unsigned short kind) {
  return (status.st_mode & _S_IFMT) == kind;
}

std::string with_delimiter(char const *directory) {
  std::string prefix = directory;
  if (!prefix.empty() && prefix.back() != '\\') {
    prefix += Platform::get_path_delimiter();
  }
  return prefix;
}

// A backslash in a path is a separator: joined to its directory, such a name means another file.
bool can_be_named(char const *name) {
  return std::strchr(name, '\\') == nullptr;
}

void add_regular_file(std::string const &prefix, char const *name, Names *files) {
  std::string path = prefix + name;
  struct __stat64 status = {};
  if (!can_be_named(name) || _stat64(path.c_str(), &status) != 0) {
    win32_platform_category().warn("Unable to read the status of '%s': left out of the file list.",
                                   path.c_str());
    return;
  }
  if (is_kind(status, _S_IFREG)) {
    files->push_back(std::move(path));
  }
}

} // namespace

unsigned long Platform::mkdir(char const *path, int) {
  if (path == nullptr || _mkdir(path) != 0) {
    win32_platform_category().info("Failed to mkdir('%s')", path == nullptr ? "" : path);
    return RESULT_IO_ERROR;
  }
  return RESULT_SUCCESS;
}

unsigned long Platform::file_exists(char const *path) {
  if (path == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  File file;
  return file.open_for_reading(path) == RESULT_SUCCESS ? RESULT_SUCCESS : RESULT_FAILURE;
}

unsigned long Platform::directory_exists(char const *path) {
  if (path == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  struct __stat64 status = {};
  bool const exists = _stat64(path, &status) == 0 && is_kind(status, _S_IFDIR);
  return exists ? RESULT_SUCCESS : RESULT_FAILURE;
}

unsigned long Platform::get_file_list(char const *directory, char const *pattern,
                                      std::vector<std::string> *out) try {
  if (out == nullptr) {
    return RESULT_PRECONDITION_ERROR;
  }
  Names const previous = std::exchange(*out, {}); // the arguments may point into it
  if (directory == nullptr) {
    win32_platform_category().warn("NULL path: return empty file list.");
    return RESULT_SUCCESS;
  }
  std::string const prefix = with_delimiter(directory);
  std::string const query = prefix + "*" + (pattern == nullptr ? "" : pattern);
  bool has_matches = false;
  unsigned long const result = for_each_match(
      query, &has_matches, [&](char const *name) { add_regular_file(prefix, name, out); });
  if (result == RESULT_SUCCESS && !has_matches) {
    win32_platform_category().warn("Error checking files in '%s': return empty file list.",
                                   query.c_str());
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::get_dir_list(char const *prefix, std::vector<std::string> *out) try {
  if (out == nullptr) {
    return RESULT_PRECONDITION_ERROR;
  }
  Names const previous = std::exchange(*out, {}); // the prefix may point into it
  std::string const start = prefix == nullptr ? "" : prefix;
  bool has_matches = false;
  return for_each_match(start + "*", &has_matches, [&](char const *name) {
    std::string path = start + name;
    if (can_be_named(name) && directory_exists(path.c_str()) == RESULT_SUCCESS) {
      out->push_back(std::move(path));
    }
  });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
