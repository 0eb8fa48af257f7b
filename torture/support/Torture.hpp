// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <atomic>

/// One promise of the library under strain: counts what did not hold, and prints the promise's row
/// of the table. Any thread may tell a fault.
class Torture {
public:
  explicit Torture(char const *promise) : promise_(promise) {}

  /// Tells of something that did not hold, at once.
  void fault(char const *format, ...) OSTBASE_PRINTF(2, 3);

  /// Prints the row: the promise, what was done, the number of faults.
  /// @return the exit status of the program: 1 when there was a fault.
  int row(char const *format, ...) OSTBASE_PRINTF(2, 3);

private:
  char const *promise_;
  std::atomic<unsigned long> faults_ = 0;
};

/// What a program of this directory does; each defines its own.
/// @return its exit status.
int torture();

/// How often that is to be done which the full run does `count` times. The quick run does a
/// hundredth, but not less than once.
unsigned int rounds(unsigned int count);
