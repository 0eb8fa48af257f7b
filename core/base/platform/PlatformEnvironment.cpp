// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/platform/Environment.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <new>
#include <utility>

namespace Ostrel {

// Not the C library's `getenv`: on Windows it does not see changes by SetEnvironmentVariableA, such
// as that of PATH during the load of a library.
bool read_environment(char const *name, std::string *value) {
  std::string text;
  DWORD length = 0;
  // Retried until the value fits: another thread may set a longer one in between.
  do {
    text.resize(length);
    SetLastError(ERROR_SUCCESS); // distinguishes an empty value from an unset variable
    length = GetEnvironmentVariableA(name, text.data(), static_cast<DWORD>(text.size()));
    if (length == 0 && GetLastError() != ERROR_SUCCESS) {
      return false;
    }
  } while (length > text.size());
  if (value != nullptr) {
    text.resize(length);
    *value = std::move(text);
  }
  return true;
}

bool Platform::get_environment_variable(char const *name, std::string *value) try {
  return read_environment(name, value);
} catch (std::bad_alloc const &) {
  return false;
}

} // namespace Ostrel
