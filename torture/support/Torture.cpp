// SPDX-License-Identifier: Apache-2.0
#include "torture/support/Torture.hpp"

#include "tests/support/Child.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <pthread.h>
#include <unistd.h>

namespace {

unsigned int divisor = 1; // set before `torture`

constexpr unsigned int LONGEST_RUN_S = 15 * 60;
constexpr unsigned int LONGEST_QUICK_RUN_S = 2 * 60;

// Ends the process by a signal if it hangs.
void limit_time() {
  alarm(divisor == 1 ? LONGEST_RUN_S : LONGEST_QUICK_RUN_S);
}

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
  pthread_atfork(nullptr, nullptr, limit_time); // a forked process has no alarm
  if (argc > 2 && std::strcmp(argv[1], "--role") == 0) {
    limit_time(); // also in a program that another one starts
    return Role::play(argv[2], Role::Arguments(argv + 3, argv + argc));
  }
  if (argc > 1 && std::strcmp(argv[1], "--quick") == 0) {
    divisor = 100;
  }
  limit_time();
  return torture();
}
