// SPDX-License-Identifier: Apache-2.0
#include "torture/support/Torture.hpp"

#include "tests/support/Child.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

unsigned int divisor = 1; // set before the program's job begins

} // namespace

void Torture::fault(char const *format, ...) {
  faults_ += 1;
  char text[1024];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof(text), format, values);
  va_end(values);
  std::fprintf(stderr, "%s: %s\n", promise_, text);
}

int Torture::row(char const *format, ...) {
  std::printf("| %s | ", promise_);
  std::va_list values;
  va_start(values, format);
  std::vprintf(format, values);
  va_end(values);
  std::printf(" | %lu |\n", faults_.load());
  return faults_ == 0 ? 0 : 1;
}

unsigned int rounds(unsigned int count) {
  return std::max(1U, count / divisor);
}

int main(int argc, char **argv) {
  if (argc > 2 && std::strcmp(argv[1], "--role") == 0) {
    return Role::play(argv[2], Role::Arguments(argv + 3, argv + argc));
  }
  if (argc > 1 && std::strcmp(argv[1], "--quick") == 0) {
    divisor = 100;
  }
  return torture();
}
