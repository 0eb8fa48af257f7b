// SPDX-License-Identifier: Apache-2.0

// A cached user setting, read by a key of 40 characters.

#include "core/base/config/UserConfig.hpp"

#include <absl/container/flat_hash_map.h>
#include <absl/synchronization/mutex.h>
#include <benchmark/benchmark.h>
#include <string>
#include <string_view>

namespace {

constexpr char KEY[] = "UserConfig/ObstacleAvoidance/MinDistance";
static_assert(std::string_view(KEY).size() == 40);
constexpr char VALUE[] = "0.350000000000";

void ours(benchmark::State &state) {
  Ostrel::UserConfig::set_user_config(KEY, VALUE, /*commit=*/false);
  std::string value;
  for ([[maybe_unused]] auto const &_ : state) {
    Ostrel::UserConfig::get_user_config(KEY, &value);
  }
  benchmark::DoNotOptimize(value);
}

void peer(benchmark::State &state) {
  static absl::Mutex mutex;
  static absl::flat_hash_map<std::string, std::string> const settings = {{KEY, VALUE}};
  std::string value;
  for ([[maybe_unused]] auto const &_ : state) {
    absl::MutexLock const lock(&mutex);
    value = settings.find(KEY)->second;
  }
  benchmark::DoNotOptimize(value);
}

} // namespace

BENCHMARK(ours)->Name("cached setting, 1 thread/ours");
BENCHMARK(peer)->Name("cached setting, 1 thread/peer");
BENCHMARK(ours)->Name("cached setting, 4 threads/ours")->Threads(4)->UseRealTime();
BENCHMARK(peer)->Name("cached setting, 4 threads/peer")->Threads(4)->UseRealTime();
