// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <memory>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

LoggingCategory &category() {
  static LoggingCategory &instance =
      LoggingCategory::get_instance("Ostrel.Core.Base.Win32Platform");
  return instance;
}

struct CloseSearch {
  void operator()(void *search) const noexcept { FindClose(search); }
};
using Search = std::unique_ptr<void, CloseSearch>;

// Calls `visit` with every name that matches; false when none does.
template <typename Visit> bool for_each_match(std::string const &query, Visit visit) {
  WIN32_FIND_DATAA data = {};
  void *const started = FindFirstFileA(query.c_str(), &data);
  if (started == INVALID_HANDLE_VALUE) {
    return false;
  }
  Search const search(started);
  do {
    visit(data.cFileName);
  } while (FindNextFileA(search.get(), &data) != FALSE);
  return true;
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

void add_regular_file(std::string path, std::vector<std::string> *files) {
  struct __stat64 status = {};
  if (_stat64(path.c_str(), &status) != 0) {
    category().warn("Unable to read the status of '%s': left out of the file list.", path.c_str());
    return;
  }
  if (is_kind(status, _S_IFREG)) {
    files->push_back(std::move(path));
  }
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
  return file.open_for_reading(path) ? RESULT_SUCCESS : RESULT_FAILURE;
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
  out->clear();
  if (directory == nullptr) {
    category().warn("NULL path: return empty file list.");
    return RESULT_SUCCESS;
  }
  std::string const prefix = with_delimiter(directory);
  std::string const query = prefix + "*" + (pattern == nullptr ? "" : pattern);
  if (!for_each_match(query, [&](char const *name) { add_regular_file(prefix + name, out); })) {
    category().warn("Error checking files in '%s': return empty file list.", query.c_str());
  }
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::get_dir_list(char const *prefix, std::vector<std::string> *out) try {
  if (out == nullptr) {
    return RESULT_PRECONDITION_ERROR;
  }
  out->clear();
  std::string const start = prefix == nullptr ? "" : prefix;
  for_each_match(start + "*", [&](char const *name) {
    std::string path = start + name;
    if (directory_exists(path.c_str()) == RESULT_SUCCESS) {
      out->push_back(std::move(path));
    }
  });
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
