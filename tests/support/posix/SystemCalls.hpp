// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

/// One system call that is about to be made.
struct SystemCall {
  int number; // SYS_...
  unsigned long long const *arguments;
};

/// The text that an argument points to, for the judge of the call.
std::string text_argument(SystemCall const &call, int index);

/// What becomes of it: by itself it is made as it stands.
struct Verdict {
  int error = 0;         ///< it is not made, and fails with this; a `close` is made all the same
  bool is_short = false; ///< a write writes half of the bytes; another call is made as it stands
};

/// Runs `action` in a thread of its own and has `judge` decide about each of its system calls, from
/// 0 on, but for those of memory, time, signals and waiting. The judge runs in the calling thread.
///
/// The kernel itself asks, so calls are met that the C library makes inside, or that are made by
/// their number. Ends the program when the system cannot do that.
/// @return how many calls there were.
unsigned int
judge_system_calls(std::function<void()> const &action,
                   std::function<Verdict(unsigned int, SystemCall const &)> const &judge);
