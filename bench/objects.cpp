// SPDX-License-Identifier: Apache-2.0

// Adding and removing an owner: ours and std::shared_ptr.

#include "core/base/foundation/ObjectImpl.hpp"

#include <benchmark/benchmark.h>
#include <memory>
#include <thread>

using namespace Ostrel;

namespace {

class Thing : public ObjectImpl {
  using ObjectImpl::ObjectImpl;
};

void ours(benchmark::State &state, ObjectImpl::ThreadSafety mode) {
  IObject *thing = new Thing(mode);
  benchmark::DoNotOptimize(thing);
  for ([[maybe_unused]] auto const &_ : state) {
    thing->add_ref();
    thing->remove_ref();
  }
  thing->remove_ref();
}

void peer(benchmark::State &state) {
  // std::shared_ptr counts atomically only after the program has started a second thread.
  std::thread([] {}).join();
  auto const thing = std::make_shared<int>(0);
  for ([[maybe_unused]] auto const &_ : state) {
    std::shared_ptr<int> owner = thing;
    benchmark::DoNotOptimize(owner);
    owner.reset();
  }
}

} // namespace

BENCHMARK_CAPTURE(ours, none, ObjectImpl::SAFETY_NONE)->Name("owner, unprotected/ours");
BENCHMARK(peer)->Name("owner, unprotected/peer");
BENCHMARK_CAPTURE(ours, per_object, ObjectImpl::SAFETY_PER_OBJECT)->Name("owner, own mutex/ours");
BENCHMARK(peer)->Name("owner, own mutex/peer");
