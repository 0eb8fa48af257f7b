// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>

namespace Ostrel {

/// Calls `action` with every name that matches a query. Internal to the library.
/// @return the system's error that ended the search: ERROR_NO_MORE_FILES after the last name.
std::uint32_t for_each_match(char const *query,
                             std::function<void(char const *name)> const &action);

/// Whether a name can be joined to its directory. A backslash in it would be read as a separator,
/// and the path would name another file.
inline bool can_be_named(char const *name) noexcept {
  return std::strchr(name, '\\') == nullptr;
}

} // namespace Ostrel
