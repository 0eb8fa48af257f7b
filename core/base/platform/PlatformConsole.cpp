// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/Waits.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdio>
#include <new>

namespace Ostrel {

namespace {

constexpr char ENTER = '\r';

} // namespace

bool Platform::input_ready(std::FILE *stream) {
  return stream != nullptr && _fileno(stream) == 0 && _kbhit() != 0;
}

OSTBASE_WAITS char Platform::get_char() {
  int const key = _getche();
  stay_on_stack();
  return static_cast<char>(key);
}

OSTBASE_WAITS bool Platform::get_line(std::string *line) try {
  if (line == nullptr) {
    return true;
  }
  char const character = get_char();
  if (character == ENTER) {
    return true;
  }
  line->push_back(character);
  return false;
} catch (std::bad_alloc const &) {
  // The character is lost, but the line goes on.
  return false;
}

} // namespace Ostrel
