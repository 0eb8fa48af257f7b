// SPDX-License-Identifier: Apache-2.0

// A cached user setting, read by a key of 40 characters; and a setting that follows changes, read
// while another thread sets it a thousand times a second, beside a plain load.

#include "core/base/config/Setting.hpp"
#include "core/base/config/UserConfig.hpp"

#include <absl/container/flat_hash_map.h>
#include <absl/synchronization/mutex.h>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>

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

// Sets the setting a thousand times a second while it lives.
class Setter {
public:
  Setter() : thread_([this] { run(); }) {}
  Setter(Setter const &) = delete;
  Setter &operator=(Setter const &) = delete;
  ~Setter() {
    is_over_ = true;
    thread_.join();
  }

private:
  void run() {
    for (int i = 0; !is_over_; ++i) {
      Ostrel::UserConfig::set_user_config(KEY, std::to_string(i).c_str(), /*commit=*/false);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::atomic<bool> is_over_{false};
  std::thread thread_;
};

void follow(benchmark::State &state) {
  Ostrel::Setting<double> const setting{KEY, 0.0};
  Setter const setter;
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(setting.get());
  }
}

void load_plainly(benchmark::State &state) {
  double value = 0.35;
  benchmark::DoNotOptimize(&value);
  Setter const setter;
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(*static_cast<double const volatile *>(&value));
  }
}

} // namespace

BENCHMARK(follow)->Name("followed setting/ours");
BENCHMARK(load_plainly)->Name("followed setting/limit");
BENCHMARK(ours)->Name("cached setting, 1 thread/ours");
BENCHMARK(peer)->Name("cached setting, 1 thread/peer");
BENCHMARK(ours)->Name("cached setting, 4 threads/ours")->Threads(4)->UseRealTime();
BENCHMARK(peer)->Name("cached setting, 4 threads/peer")->Threads(4)->UseRealTime();
