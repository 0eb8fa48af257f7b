// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <cstring>
#include <memory>

namespace Ostrel {

/// Calls `visit` with every name that the system finds for a query. Internal to the library.
/// @return the system's number for why the search has ended: at its end ERROR_NO_MORE_FILES.
template <typename Visit> DWORD for_each_match(char const *query, Visit visit) {
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
    visit(static_cast<char const *>(data.cFileName));
  } while (FindNextFileA(search.get(), &data) != FALSE);
  return GetLastError();
}

/// Whether such a name can be joined to its directory. A backslash in a path is a separator: the
/// path would mean another file.
inline bool can_be_named(char const *name) noexcept {
  return std::strchr(name, '\\') == nullptr;
}

} // namespace Ostrel
