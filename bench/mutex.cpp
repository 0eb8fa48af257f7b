// SPDX-License-Identifier: Apache-2.0

// An uncontended recursive mutex.

#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <benchmark/benchmark.h>
#include <memory>
#include <mutex>

namespace {

void ours(benchmark::State &state) {
  std::unique_ptr<Ostrel::IMutex> const mutex(Ostrel::Platform::create_mutex(true));
  for ([[maybe_unused]] auto const &_ : state) {
    mutex->acquire();
    mutex->release();
  }
}

void peer(benchmark::State &state) {
  std::recursive_mutex mutex;
  for ([[maybe_unused]] auto const &_ : state) {
    mutex.lock();
    mutex.unlock();
  }
}

} // namespace

BENCHMARK(ours)->Name("lock and unlock/ours");
BENCHMARK(peer)->Name("lock and unlock/peer");
