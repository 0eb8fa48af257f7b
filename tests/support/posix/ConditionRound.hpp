// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

constexpr int CONDITION_WAITERS = 8;
constexpr int CONDITION_SIGNALLERS = 4;

/// A while of random signals, broadcasts and time-outs on one condition variable. What happens is
/// written down under the mutex, and what each wait came to is accounted for afterwards: every
/// release reached the waiter that had waited longest, and no other.
struct ConditionRound {
  unsigned long waits = 0;
  unsigned long released = 0;       // waits that came true
  std::vector<char const *> faults; // one for each release or wait that cannot be accounted for
};

/// Plays a round of 50 ms. A waiter that is not woken keeps it from its end.
ConditionRound play_condition_round(unsigned int seed);
