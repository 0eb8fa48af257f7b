// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdlib>
#include <memory>
#include <new>

namespace Ostrel {

namespace {

struct FreeText {
  void operator()(char *text) const noexcept { std::free(text); }
};

} // namespace

bool Platform::get_environment_variable(char const *name, std::string *value) try {
  char *copy = nullptr;
  if (_dupenv_s(&copy, nullptr, name) != 0 || copy == nullptr) {
    return false;
  }
  std::unique_ptr<char, FreeText> const text(copy);
  if (value != nullptr) {
    *value = text.get();
  }
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

} // namespace Ostrel
