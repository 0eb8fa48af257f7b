// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <atomic>

/// The test of one promise of the library: counts the faults, and prints the promise's row of the
/// table. Any thread may report a fault.
class Torture {
public:
  explicit Torture(char const *promise) : promise_(promise) {}

  /// Counts a fault and prints it.
  void fault(char const *format, ...) OSTBASE_PRINTF(2, 3);

  /// Prints the row: the promise, what was done, the number of faults.
  /// @return the exit status of the program: 1 if there was a fault.
  int row(char const *format, ...) OSTBASE_PRINTF(2, 3);

private:
  char const *promise_;
  std::atomic<unsigned long> faults_ = 0;
};

/// The main function of a program in this directory; each defines its own.
/// @return the exit status.
int torture();

/// The number of rounds: `count` in the full run, a hundredth but at least 1 in the quick run.
unsigned int rounds(unsigned int count);
