// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

/// One system call that is about to be made.
struct SystemCall {
  int number; // SYS_...
  unsigned long long const *arguments;
};

/// What happens to a call; by default it is made unchanged.
struct Verdict {
  int error = 0; ///< the call is not made and fails with this; a `close` is made all the same
  bool is_short = false; ///< a write writes half of the bytes; other calls are unchanged
};

/// Runs `action` in a new thread. `judge` decides about each system call of that thread, numbered
/// from 0, except those of memory, time, signals and waiting. The judge runs in the calling thread.
///
/// The kernel stops the calls, so those inside the C library are judged as well. Ends the program
/// if the system does not support this.
/// @return the number of calls.
unsigned int
judge_system_calls(std::function<void()> const &action,
                   std::function<Verdict(unsigned int, SystemCall const &)> const &judge);
