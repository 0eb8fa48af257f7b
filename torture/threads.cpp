// SPDX-License-Identifier: Apache-2.0
// For each class whose header allows several threads, four threads run every pair of its operations
// at the same time, and then all operations at random.
#include "tests/support/Threads.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "torture/support/Torture.hpp"
#include "torture/threads/Stage.hpp"

#include <atomic>
#include <cstddef>
#include <random>
#include <thread>

namespace {

constexpr int THREADS = 4;

// A barrier for all threads.
class Barrier {
public:
  void wait() {
    unsigned int const round = round_;
    if (++waiting_ == THREADS) {
      waiting_ = 0;
      ++round_;
      return;
    }
    while (round_ == round) {
      std::this_thread::yield();
    }
  }

private:
  std::atomic<int> waiting_{0};
  std::atomic<unsigned int> round_{0};
};

struct Done {
  unsigned long pairs = 0, operations = 0;
};

// Two threads run one operation of each pair, and two the other.
// @return the number of operations of one thread in all pairs.
Done run(Stage const &stage, Barrier &barrier, int thread, unsigned int times) {
  std::mt19937 random(static_cast<unsigned int>(thread));
  Done done;
  auto const run_once = [&](std::size_t operation) {
    stage.operations[operation]({thread, static_cast<unsigned int>(random())});
    ++done.operations;
  };
  std::size_t const count = stage.operations.size();
  for (std::size_t one = 0; one < count; ++one) {
    for (std::size_t other = one; other < count; ++other) {
      barrier.wait();
      for (unsigned int i = 0; i < times; ++i) {
        run_once(thread < THREADS / 2 ? one : other);
      }
      ++done.pairs;
    }
  }
  barrier.wait();
  for (std::size_t i = 0; i < count * count * times; ++i) {
    run_once(random() % count);
  }
  return done;
}

Done run_in_threads(Stage const &stage, unsigned int times) {
  Barrier barrier;
  Done done[THREADS];
  in_threads(THREADS, [&](int thread) { done[thread] = run(stage, barrier, thread, times); });
  Done all = {done[0].pairs, 0};
  for (Done const &one : done) {
    all.operations += one.operations;
  }
  if (stage.check) {
    stage.check();
  }
  return all;
}

} // namespace

int torture() {
  Torture torture("The thread guarantees of the headers");
  Ostrel::LoggingCategory::get_root_category().set_logging_output(
      new Ostrel::FileLoggingOutput("/dev/null"));
  Stage (*const stages[])(Torture &) = {configuration_by_path,
                                        configuration_by_handle,
                                        user_settings,
                                        logging,
                                        units,
                                        mutexes,
                                        condition_variable,
                                        counted_objects,
                                        environment_and_libraries,
                                        console_and_files};
  Done all;
  for (auto const make : stages) {
    Done const done = run_in_threads(make(torture), rounds(6));
    all.pairs += done.pairs;
    all.operations += done.operations;
  }
  return torture.row(
      "%lu pairs of operations in 4 threads, and all of them at random: %lu operations", all.pairs,
      all.operations);
}
