// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

/// A thread that runs one routine. Made by `Platform::create_thread`; the caller deletes it, which
/// leaves the thread running.
///
/// One thread at a time controls it. Times are in milliseconds; `OVRA_INFINITE`, and what is above
/// it, means to wait without limit.
class OSTBASE_API IThread {
public:
  /// What a thread runs; returns an exit code. An exception that leaves it ends the process.
  using Routine = unsigned int (*)(void *);

  IThread() = default;
  virtual ~IThread() = default;

  /// The system's identifier of the thread that was started last; 0 before `start`.
  virtual unsigned long get_id() const = 0;

  /// Starts the thread. May be called again once it is not running any more.
  /// @return false for a null routine, when it is running already, and when no thread can be had.
  virtual bool start() = 0;

  /// Ends the thread by force; it gets no chance to clean up, and runs no destructors.
  ///
  /// It ends at the first point at which neither the C library, the loader, libxml2 nor an
  /// operation of this library has begun something for it that others would wait for: computing,
  /// sleeping and waiting are such points. So the process goes on unharmed, but for what the
  /// routine itself holds: a mutex of this library is then abandoned, everything else stays as it
  /// is. Waits for the end, 100 ms at most: a thread that blocks inside a call which holds
  /// something (a read of a stream) ends later, when that call returns. So does one that waits for
  /// another's load of a library.
  /// @return true also when it is not running; false when it could not be reached, since the system
  ///         has no timer or signal for it. It counts as not running either way.
  virtual bool stop() = 0;

  /// Waits until the routine has returned and the thread has ended. Afterwards the thread counts as
  /// not running, also when it is: see the result.
  /// @return true when it has ended; false on time-out, and when it was never started.
  virtual bool wait_for_exit(unsigned long timeout) = 0;

protected:
  IThread(IThread const &) = default;
  IThread &operator=(IThread const &) = default;
};

} // namespace Ostrel
