// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/FileSearch.hpp"

#include "core/base/platform/winapi/winapi.hpp"

#include <memory>

namespace Ostrel {

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
