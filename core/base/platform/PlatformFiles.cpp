// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/FileSearch.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/Win32PlatformCategory.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <new>
#include <utility>

namespace Ostrel {

namespace {

using Names = std::vector<std::string>;

bool is_failing_device(DWORD error) {
  return error == ERROR_IO_DEVICE || error == ERROR_UNEXP_NET_ERR || error == ERROR_SEM_TIMEOUT;
}

// Calls `add(name, names)` for each name that matches the query. `out` is untouched on failure:
// without memory, and if the directory cannot be read to its end. A directory that cannot be opened
// counts as empty.
template <typename Add>
unsigned long collect(std::string const &query, Add add, Names *out, bool *has_matches) {
  Names names;
  *has_matches = false;
  DWORD const error = for_each_match(query.c_str(), [&](char const *name) {
    *has_matches = true;
    add(name, &names);
  });
  if (error == ERROR_NOT_ENOUGH_MEMORY) {
    return RESULT_OUT_OF_MEMORY;
  }
  if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND) {
    SystemErrorText const reason;
    win32_platform_category().debug("Failed to search '%s': %s", query.c_str(), reason.c_str());
    if (*has_matches || is_failing_device(error)) {
      return RESULT_IO_ERROR;
    }
  }
  *out = std::move(names);
  return RESULT_SUCCESS;
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
  if (directory == nullptr) {
    out->clear();
    win32_platform_category().warn("NULL path: return empty file list.");
    return RESULT_SUCCESS;
  }
  std::string const prefix = with_delimiter(directory);
  std::string const query = prefix + "*" + (pattern == nullptr ? "" : pattern);
  auto const add = [&prefix](char const *name, Names *files) {
    add_regular_file(prefix, name, files);
  };
  bool has_matches = false;
  unsigned long const result = collect(query, add, out, &has_matches);
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
  std::string const start = prefix == nullptr ? "" : prefix;
  auto const add = [&start](char const *name, Names *directories) {
    std::string path = start + name;
    if (can_be_named(name) && directory_exists(path.c_str()) == RESULT_SUCCESS) {
      directories->push_back(std::move(path));
    }
  };
  bool has_matches = false;
  return collect(start + "*", add, out, &has_matches);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
