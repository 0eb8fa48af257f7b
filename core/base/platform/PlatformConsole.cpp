// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/TerminationPoint.hpp"
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

OSTBASE_TERMINATION_POINT char Platform::get_char() {
  int const key = _getche();
  prevent_tail_call();
  return static_cast<char>(key);
}

OSTBASE_TERMINATION_POINT bool Platform::get_line(std::string *line) try {
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
  return false;
}

} // namespace Ostrel
