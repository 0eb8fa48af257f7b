// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>

namespace Ostrel {

/// Calls `action` with every name that the system finds for a query. Internal to the library.
/// @return the system's number for why the search has ended: at its end ERROR_NO_MORE_FILES.
std::uint32_t for_each_match(char const *query,
                             std::function<void(char const *name)> const &action);

/// Whether such a name can be joined to its directory. A backslash in a path is a separator: the
/// path would mean another file.
inline bool can_be_named(char const *name) noexcept {
  return std::strchr(name, '\\') == nullptr;
}

} // namespace Ostrel
