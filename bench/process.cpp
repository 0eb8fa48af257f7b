// SPDX-License-Identifier: Apache-2.0

// A program that loads the library and ends, compared with one whose library is empty but also
// links to the XML parser.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void load_and_end(benchmark::State &state, char const *program) {
  std::string name(program);
  char *const argv[] = {name.data(), nullptr};
  for ([[maybe_unused]] auto const &_ : state) {
    pid_t process = 0;
    int status = 0;
    if (posix_spawn(&process, program, nullptr, nullptr, argv, environ) != 0 ||
        waitpid(process, &status, 0) != process || status != 0) {
      state.SkipWithError("the program did not run");
      return;
    }
  }
}

} // namespace

BENCHMARK_CAPTURE(load_and_end, ours, OURS_ONLY)->Name("load the library and end/ours");
BENCHMARK_CAPTURE(load_and_end, limit, EMPTY_ONLY)->Name("load the library and end/limit");
