// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include <cstdlib>
#include <new>

namespace Ostrel {

bool Platform::get_environment_variable(char const *name, std::string *value) try {
  char const *const text = name == nullptr ? nullptr : std::getenv(name);
  if (text == nullptr) {
    return false;
  }
  if (value != nullptr) {
    *value = text;
  }
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

} // namespace Ostrel
