// SPDX-License-Identifier: Apache-2.0
// FindFirstFileA, FindNextFileA and FindClose, on readdir. The C library's own matching of patterns
// is not used: it has more wildcards, depends on the locale and omits names that start with a dot.
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <dirent.h>

namespace {

using Ostrel::fail;
using Ostrel::fail_with_errno;
using Ostrel::last_part;
using Ostrel::NativePath;
using Ostrel::open_directory_of;
using Ostrel::read_directory;

static_assert(sizeof(dirent::d_name) <= sizeof(WIN32_FIND_DATAA::cFileName));

// Whether the whole name matches. At a mismatch the last star matches one character more; no
// earlier star needs to, so the time is bounded by the product of the lengths.
bool matches(char const *pattern, char const *name) {
  char const *after_star = nullptr, *resume = nullptr;
  while (*name != '\0') {
    if (*pattern == '*') {
      after_star = ++pattern;
      resume = name;
    } else if (*pattern == '?' || *pattern == *name) {
      ++pattern;
      ++name;
    } else if (after_star != nullptr) {
      pattern = after_star;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*pattern == '*') {
    ++pattern;
  }
  return *pattern == '\0';
}

class Search {
public:
  explicit Search(NativePath const &query) noexcept
      : query_(query), pattern_(last_part(query_.c_str())),
        directory_(read_directory(open_directory_of(query_.c_str()))) {}
  Search(Search const &) = delete;
  Search &operator=(Search const &) = delete;

  bool is_open() const noexcept { return directory_ != nullptr; }

  // False, with ERROR_NO_MORE_FILES, at the end, or with the reason if the directory cannot be
  // read.
  bool next(WIN32_FIND_DATAA *data) noexcept {
    errno = 0;
    while (dirent const *entry = readdir(directory_.get())) {
      if (matches(pattern_, entry->d_name)) {
        std::memcpy(data->cFileName, entry->d_name, std::strlen(entry->d_name) + 1);
        return true;
      }
    }
    return errno == 0 ? fail(ERROR_NO_MORE_FILES) : fail_with_errno();
  }

private:
  NativePath const query_;
  char const *const pattern_; // in `query_`
  Ostrel::DirectoryReader const directory_;
};

} // namespace

HANDLE FindFirstFileA(char const *query, WIN32_FIND_DATAA *data) {
  NativePath const native(query);
  if (!native.is_valid()) {
    return INVALID_HANDLE_VALUE;
  }
  std::unique_ptr<Search> search(new (std::nothrow) Search(native));
  if (search == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  if (!search->is_open()) {
    fail_with_errno();
    return INVALID_HANDLE_VALUE;
  }
  if (!search->next(data)) {
    if (GetLastError() == ERROR_NO_MORE_FILES) {
      fail(ERROR_FILE_NOT_FOUND);
    }
    return INVALID_HANDLE_VALUE;
  }
  return search.release();
}

BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA *data) {
  return static_cast<Search *>(search)->next(data);
}

BOOL FindClose(HANDLE search) {
  delete static_cast<Search *>(search);
  return TRUE;
}
