// SPDX-License-Identifier: Apache-2.0

// A log call that the threshold drops. Such calls are in every loop of every program and must be
// cheap at any depth of the category.

#include "core/base/logging/LoggingCategory.hpp"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#include <string>

using namespace Ostrel;

namespace {

// Creates every ancestor, so that the threshold is set that many levels above.
LoggingCategory &category_at_depth(int depth) {
  std::string name = "Dropped";
  for (int i = 1; i < depth; ++i) {
    LoggingCategory::get_instance(name.c_str());
    name += ".Below";
  }
  return LoggingCategory::get_instance(name.c_str());
}

void ours(benchmark::State &state, int depth) {
  LoggingCategory &category = category_at_depth(depth);
  int value = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(category.debug("value %d", ++value));
  }
}

void peer(benchmark::State &state) {
  static auto const logger = spdlog::null_logger_mt("dropped");
  logger->set_level(spdlog::level::info);
  int value = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    logger->debug("value {}", ++value);
  }
}

// One relaxed load and a test.
void limit(benchmark::State &state) {
  static std::atomic<int> threshold{400};
  int value = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    bool const passes = threshold.load(std::memory_order_relaxed) >= 500;
    if (passes) {
      std::printf("value %d", value);
    }
    ++value;
    benchmark::DoNotOptimize(passes);
  }
}

} // namespace

BENCHMARK_CAPTURE(ours, 1, 1)->Name("dropped call, depth 1/ours");
BENCHMARK(peer)->Name("dropped call, depth 1/peer");
BENCHMARK(limit)->Name("dropped call, depth 1/limit");
BENCHMARK_CAPTURE(ours, 8, 8)->Name("dropped call, depth 8/ours");
BENCHMARK(peer)->Name("dropped call, depth 8/peer");
BENCHMARK(limit)->Name("dropped call, depth 8/limit");
