// SPDX-License-Identifier: Apache-2.0
#include "torture/condition/ConditionRound.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Threads.hpp"

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <random>
#include <utility>

#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr double ROUND_US = 50000; // of random signals

struct Wait {
  double least_end = 0; // the wait does not time out earlier; negative: it has no time-out
  bool is_released = false;
  bool has_come_true = false;
};

struct Step {
  enum Kind { WAIT, SIGNAL, BROADCAST, RETURN } kind;
  std::size_t wait; // of WAIT and RETURN
  double time;      // just after it
};

// Guarded by the mutex of the condition variable, as long as there are threads.
struct History {
  std::vector<Wait> waits;
  std::vector<Step> steps;

  void add(Step::Kind kind, std::size_t wait) {
    steps.push_back({kind, wait, Platform::get_microsecond_time()});
  }
};

class Accounts {
public:
  explicit Accounts(History &history) : waits_(history.waits) {
    for (Step const &step : history.steps) {
      account(step);
    }
  }

  std::vector<char const *> take_faults() { return std::move(faults_); }

private:
  void account(Step const &step) {
    switch (step.kind) {
    case Step::WAIT:
      queue_.push_back(step.wait);
      break;
    case Step::SIGNAL:
      release(step.time, /*all=*/false);
      break;
    case Step::BROADCAST:
      release(step.time, /*all=*/true);
      break;
    case Step::RETURN:
      come_back(step);
      break;
    }
  }

  // A waiter whose wait times out later in the history had left the queue: it is passed over.
  void release(double time, bool all) {
    bool is_done = false;
    while (!queue_.empty() && !is_done) {
      Wait &wait = waits_[queue_.front()];
      queue_.pop_front();
      wait.is_released = wait.has_come_true;
      bool const has_given_up = wait.least_end >= 0 && wait.least_end <= time;
      if (!wait.has_come_true && !has_given_up) {
        faults_.push_back("a release is lost: the first waiter of the queue is not woken");
      }
      is_done = wait.has_come_true && !all;
    }
  }

  void come_back(Step const &step) {
    Wait const &wait = waits_[step.wait];
    if (wait.has_come_true && !wait.is_released) {
      faults_.push_back(
          "a release is stolen: the waiter that it woke was not the first of the queue");
    }
    if (!wait.has_come_true && (wait.least_end < 0 || wait.least_end > step.time)) {
      faults_.push_back("a wait ends before its time");
    }
    for (auto place = queue_.begin(); place != queue_.end(); ++place) {
      if (*place == step.wait) {
        queue_.erase(place);
        break;
      }
    }
  }

  std::vector<Wait> &waits_;
  std::vector<char const *> faults_;
  std::deque<std::size_t> queue_; // of the waiters
};

class Round {
public:
  explicit Round(unsigned int seed) : seed_(seed) {
    in_threads(CONDITION_WAITERS + CONDITION_SIGNALLERS + 1, [this](int index) {
      if (index < CONDITION_WAITERS) {
        wait(index);
      } else if (index < CONDITION_WAITERS + CONDITION_SIGNALLERS) {
        signal(index);
      } else {
        end();
      }
    });
  }

  History &history() { return history_; }

private:
  void wait(int index) {
    std::minstd_rand random(seed_ + static_cast<unsigned int>(index));
    condition_->lock_mutex();
    while (!is_over_) {
      std::size_t const number = history_.waits.size();
      unsigned long const timeout = random() % 2 == 0 ? OVRA_INFINITE : random() % 3;
      history_.waits.emplace_back();
      history_.add(Step::WAIT, number);
      double const now = history_.steps.back().time;
      constexpr double US = 1000; // in a millisecond
      history_.waits[number].least_end =
          timeout == OVRA_INFINITE ? -1 : now + static_cast<double>(timeout) * US;
      bool const is_released = condition_->wait(timeout, false);
      history_.waits[number].has_come_true = is_released;
      history_.add(Step::RETURN, number);
      pause(random);
    }
    condition_->unlock_mutex();
    ++ended_;
  }

  void signal(int index) {
    std::minstd_rand random(seed_ + static_cast<unsigned int>(index));
    double const end = Platform::get_microsecond_time() + ROUND_US;
    while (Platform::get_microsecond_time() < end) {
      condition_->lock_mutex();
      release(random() % 4 == 0 ? Step::BROADCAST : Step::SIGNAL);
      condition_->unlock_mutex();
      usleep(static_cast<useconds_t>(random() % 300));
    }
    ++ended_signallers_;
  }

  // Needs the mutex held.
  void release(Step::Kind kind) {
    kind == Step::BROADCAST ? condition_->broadcast() : condition_->signal();
    history_.add(kind, 0);
  }

  // Sometimes releases the mutex for a short time.
  void pause(std::minstd_rand &random) {
    if (random() % 4 == 0) {
      condition_->unlock_mutex();
      usleep(static_cast<useconds_t>(random() % 100));
      condition_->lock_mutex();
    }
  }

  void end() {
    while (ended_signallers_ < CONDITION_SIGNALLERS) {
      usleep(1000);
    }
    while (ended_ < CONDITION_WAITERS) {
      condition_->lock_mutex();
      is_over_ = true;
      release(Step::BROADCAST);
      condition_->unlock_mutex();
      usleep(100);
    }
  }

  unsigned int const seed_;
  std::unique_ptr<IConditionVariable> const condition_{Platform::create_condition_variable()};
  History history_;
  bool is_over_ = false; // guarded by the mutex
  std::atomic<int> ended_{0};
  std::atomic<int> ended_signallers_{0};
};

} // namespace

ConditionRound play_condition_round(unsigned int seed) {
  Round round(seed);
  ConditionRound played;
  played.faults = Accounts(round.history()).take_faults();
  for (Wait const &wait : round.history().waits) {
    ++played.waits;
    played.released += wait.has_come_true ? 1 : 0;
  }
  return played;
}
