// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <new>
#include <utility>

namespace Ostrel {

namespace {

ClassCategory category("Ostrel.Core.Base.Win32Platform");

bool is_failing_device(DWORD error) {
  return error == ERROR_IO_DEVICE || error == ERROR_UNEXP_NET_ERR || error == ERROR_SEM_TIMEOUT;
}

bool is_kind(struct __stat64 const &status, unsigned short kind) {
  return (status.st_mode & _S_IFMT) == kind;
}

bool is_regular_file(std::string const &path, char const *name) {
  struct __stat64 status = {};
  if (!can_be_named(name) || _stat64(path.c_str(), &status) != 0) {
    category().warn("Unable to read the status of '%s': left out of the file list.", path.c_str());
    return false;
  }
  return is_kind(status, _S_IFREG);
}

bool is_directory(std::string const &path, char const *name) {
  return can_be_named(name) && Platform::directory_exists(path.c_str()) == RESULT_SUCCESS;
}

// Lists the wanted paths that begin with `prefix`, the rest of which matches `pattern`. `out` is
// untouched on failure: without memory, and if the directory cannot be read to its end. A directory
// that cannot be opened counts as empty.
unsigned long list(std::string const &prefix, std::string const &pattern,
                   bool (*is_wanted)(std::string const &path, char const *name),
                   std::vector<std::string> *out, bool *has_matches) {
  std::string const query = prefix + pattern;
  std::vector<std::string> paths;
  *has_matches = false;
  DWORD const error = for_each_match(query.c_str(), [&](char const *name) {
    *has_matches = true;
    std::string path = prefix + name;
    if (is_wanted(path, name)) {
      paths.push_back(std::move(path));
    }
  });
  if (error == ERROR_NOT_ENOUGH_MEMORY) {
    return RESULT_OUT_OF_MEMORY;
  }
  if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND) {
    SystemErrorText const reason;
    category().debug("Failed to search '%s': %s", query.c_str(), reason.c_str());
    if (*has_matches || is_failing_device(error)) {
      return RESULT_IO_ERROR;
    }
  }
  *out = std::move(paths);
  return RESULT_SUCCESS;
}

} // namespace

unsigned long Platform::mkdir(char const *path, int) {
  if (path == nullptr || _mkdir(path) != 0) {
    category().info("Failed to mkdir('%s')", path == nullptr ? "" : path);
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
    category().warn("NULL path: return empty file list.");
    return RESULT_SUCCESS;
  }
  std::string prefix = directory;
  if (!prefix.empty() && prefix.back() != '\\') {
    prefix += get_path_delimiter();
  }
  std::string const ending = std::string("*") + (pattern == nullptr ? "" : pattern);
  bool has_matches = false;
  unsigned long const result = list(prefix, ending, is_regular_file, out, &has_matches);
  if (result == RESULT_SUCCESS && !has_matches) {
    category().warn("Error checking files in '%s': return empty file list.",
                    (prefix + ending).c_str());
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::get_dir_list(char const *prefix, std::vector<std::string> *out) try {
  if (out == nullptr) {
    return RESULT_PRECONDITION_ERROR;
  }
  bool has_matches = false;
  return list(prefix == nullptr ? "" : prefix, "*", is_directory, out, &has_matches);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
