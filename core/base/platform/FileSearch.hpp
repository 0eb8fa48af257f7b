// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>

namespace Ostrel {

/// Calls `action` with every file name that matches a query. Internal to the library.
/// @return the system's error number; after a complete search ERROR_NO_MORE_FILES.
std::uint32_t for_each_match(char const *query,
                             std::function<void(char const *name)> const &action);

/// Whether a path of this library can contain the name. A name with a backslash cannot be in a
/// path, where a backslash is a separator.
inline bool can_be_named(char const *name) noexcept {
  return std::strchr(name, '\\') == nullptr;
}

} // namespace Ostrel
