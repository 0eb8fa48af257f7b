// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

constexpr int CONDITION_WAITERS = 8;
constexpr int CONDITION_SIGNALLERS = 4;

/// Random signals, broadcasts and time-outs on one condition variable. They are recorded under its
/// mutex; afterwards the record shows whether every release woke the waiter that had waited
/// longest, and no other.
struct ConditionRound {
  unsigned long waits = 0;
  unsigned long released = 0;       // waits that were released
  std::vector<char const *> faults; // one for each release or wait that does not fit the record
};

/// Plays a round of 50 ms. It does not end if a waiter is not woken.
ConditionRound play_condition_round(unsigned int seed);
