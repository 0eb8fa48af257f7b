// SPDX-License-Identifier: Apache-2.0
// Waiters and signallers use one condition variable, with random signals, broadcasts and time-outs.
#include "torture/condition/ConditionRound.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Threads.hpp"
#include "torture/support/Torture.hpp"

#include <memory>

#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned int HANG_S = 60;

// Producers and consumers that signal without the mutex. After a lost wake-up a consumer waits for
// ever.
void hand_over(Torture &torture) {
  constexpr int PIECES = 500; // of each signaller
  std::unique_ptr<IConditionVariable> const condition(Platform::create_condition_variable());
  int produced = 0, available = 0, consumed = 0; // guarded by the condition variable's mutex
  in_threads(CONDITION_WAITERS + CONDITION_SIGNALLERS, [&](int index) {
    if (index < CONDITION_WAITERS) {
      condition->lock_mutex();
      while (consumed < CONDITION_SIGNALLERS * PIECES) {
        if (available > 0) {
          --available;
          ++consumed;
        } else {
          condition->wait(index % 2 == 0 ? OVRA_INFINITE : 1, false);
        }
      }
      condition->unlock_mutex();
      condition->broadcast();
      return;
    }
    for (int i = 0; i < PIECES; ++i) {
      condition->lock_mutex();
      ++produced;
      ++available;
      condition->unlock_mutex();
      i % 8 == 0 ? condition->broadcast() : condition->signal();
    }
  });
  if (produced != consumed || available != 0) {
    torture.fault("%d pieces are produced, %d consumed, %d left", produced, consumed, available);
  }
}

} // namespace

int torture() {
  Torture torture("A condition variable loses no wake-up, and none is stolen");
  unsigned long waits = 0, released = 0;
  for (unsigned int i = 0; i < rounds(2000); ++i) {
    alarm(HANG_S); // a waiter that is not woken ends the program
    ConditionRound const round =
        play_condition_round(1 + i * (CONDITION_WAITERS + CONDITION_SIGNALLERS));
    for (char const *fault : round.faults) {
      torture.fault("%s", fault);
    }
    waits += round.waits;
    released += round.released;
    hand_over(torture);
  }
  return torture.row(
      "%d waiters and %d signallers: %lu waits, %lu of them released, each accounted for",
      CONDITION_WAITERS, CONDITION_SIGNALLERS, waits, released);
}
