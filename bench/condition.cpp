// SPDX-License-Identifier: Apache-2.0

// Two threads on one processor that wake each other in turn: measures only waiting and waking.

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Platform.hpp"

#include <benchmark/benchmark.h>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include <pthread.h>
#include <sched.h>

namespace {

class Ours {
public:
  void lock() { condition_->lock_mutex(); }
  void unlock() { condition_->unlock_mutex(); }
  void wait() { condition_->wait(Ostrel::OVRA_INFINITE, false); }
  void signal() { condition_->signal(); }

private:
  std::unique_ptr<Ostrel::IConditionVariable> condition_{
      Ostrel::Platform::create_condition_variable()};
};

class Peer {
public:
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  void wait() {
    std::unique_lock<std::mutex> lock(mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }
  void signal() { condition_.notify_one(); }

private:
  std::mutex mutex_;
  std::condition_variable condition_;
};

enum class Turn { HERE, THERE, NOBODYS };

template <typename Condition>
void take_turn(Condition &condition, Turn &turn, Turn mine, Turn other) {
  condition.lock();
  while (turn == other) {
    condition.wait();
  }
  if (turn == mine) {
    turn = other;
    condition.signal();
  }
  condition.unlock();
}

// Binds the calling thread, and threads that it starts, to one processor until the end of a block.
class OneProcessor {
public:
  OneProcessor() {
    pthread_getaffinity_np(pthread_self(), sizeof(before_), &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    pthread_setaffinity_np(pthread_self(), sizeof(one), &one);
  }
  OneProcessor(OneProcessor const &) = delete;
  OneProcessor &operator=(OneProcessor const &) = delete;
  ~OneProcessor() { pthread_setaffinity_np(pthread_self(), sizeof(before_), &before_); }

private:
  cpu_set_t before_;
};

template <typename Condition> void there_and_back(benchmark::State &state) {
  OneProcessor const here;
  Condition condition;
  Turn turn = Turn::HERE;
  std::thread other([&] {
    while (turn != Turn::NOBODYS) {
      take_turn(condition, turn, Turn::THERE, Turn::HERE);
    }
  });
  for ([[maybe_unused]] auto const &_ : state) {
    take_turn(condition, turn, Turn::HERE, Turn::THERE);
  }
  condition.lock();
  while (turn == Turn::THERE) {
    condition.wait();
  }
  turn = Turn::NOBODYS;
  condition.signal();
  condition.unlock();
  other.join();
}

} // namespace

BENCHMARK(there_and_back<Ours>)->Name("wait, there and back/ours");
BENCHMARK(there_and_back<Peer>)->Name("wait, there and back/peer");
