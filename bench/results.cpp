// SPDX-License-Identifier: Apache-2.0

// The names of all result codes, compared with the names of Abseil's status codes (peer).

#include "core/base/foundation/ResultCode.hpp"

#include <absl/status/status.h>
#include <benchmark/benchmark.h>
#include <string>

namespace {

constexpr int COUNT = 16; // the number of codes in Abseil

void ours(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    for (int code = 0; code < COUNT; ++code) {
      auto result = static_cast<Ostrel::ResultCode>(code);
      benchmark::DoNotOptimize(result);
      benchmark::DoNotOptimize(Ostrel::result_code_get_name(result));
    }
  }
}

void peer(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    for (int code = 0; code < COUNT; ++code) {
      auto status = static_cast<absl::StatusCode>(code);
      benchmark::DoNotOptimize(status);
      benchmark::DoNotOptimize(absl::StatusCodeToString(status));
    }
  }
}

} // namespace

BENCHMARK(ours)->Name("result code to text/ours");
BENCHMARK(peer)->Name("result code to text/peer");
