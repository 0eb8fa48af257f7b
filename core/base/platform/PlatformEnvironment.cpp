// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/platform/Environment.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

namespace Ostrel {

namespace {

struct FreeText {
  void operator()(char *text) const noexcept { std::free(text); }
};

} // namespace

bool read_environment(char const *name, std::string *value) {
  char *copy = nullptr;
  int const error = _dupenv_s(&copy, nullptr, name);
  std::unique_ptr<char, FreeText> const text(copy);
  if (error == ENOMEM) {
    throw std::bad_alloc();
  }
  if (text == nullptr) {
    return false;
  }
  if (value != nullptr) {
    *value = text.get();
  }
  return true;
}

bool Platform::get_environment_variable(char const *name, std::string *value) try {
  return read_environment(name, value);
} catch (std::bad_alloc const &) {
  return false;
}

} // namespace Ostrel
