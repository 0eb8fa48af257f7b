// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

/// A thread that runs one routine. Created by `Platform::create_thread`; the caller deletes it,
/// which leaves the thread running.
///
/// One thread at a time controls it, except that any thread may call `stop` while another is in
/// `wait_for_exit`. Times are in milliseconds; `OVRA_INFINITE` and larger values mean a wait
/// without limit.
class OSTBASE_API IThread {
public:
  /// The function that a thread runs; returns an exit code. An exception that leaves it ends the
  /// process.
  using Routine = unsigned int (*)(void *);

  IThread() = default;
  virtual ~IThread() = default;

  /// The system's identifier of the thread that was started last; 0 before `start`.
  virtual unsigned long get_id() const = 0;

  /// Starts the thread. May be called again after `stop` and `wait_for_exit`.
  /// @return false for a null routine, if it is running already, and if the system starts no
  ///         thread; in that last case `wait_for_exit` returns false as well.
  virtual bool start() = 0;

  /// Ends the thread by force: its stack is not unwound, and no destructor of its variables runs.
  /// Waits up to 100 ms for the end. Mutexes of this library that the thread holds are abandoned;
  /// everything else that it holds (memory, a lock of the program) leaks or stays locked.
  ///
  /// On POSIX systems a signal makes the thread inspect its own stack, at first every 50 us, later
  /// every 2 ms. The thread ends as soon as no call of the C library, the loader, libxml2 or this
  /// library is on the stack. Exceptions are system calls that hold nothing while they wait (sleep,
  /// read, poll, fcntl and the like) and the waits of this library for a time, a key press, a
  /// thread, a condition variable or a mutex. Data that such a call has just received (bytes, a
  /// connection) is lost. This means:
  /// - A thread in another call ends after the call: in a wait for a lock, a semaphore or a
  ///   condition of the C library, in a read of a stream, or in a callback of `qsort`. A thread
  ///   that is rarely outside such calls (a loop over `fflush`) may run on for a long time.
  /// - The signal is the highest real-time signal that has its default action at the first `stop`.
  ///   From then on the program must not use it. The library resets it when it is unloaded. A
  ///   thread that blocks this signal is not ended.
  /// - The C library does not notice the end, and leaks some kilobytes that it had for the thread.
  ///   If the program changes its user (`setuid`) at the same time, it may wait for the ended
  ///   thread for ever.
  /// - An allocator or a compiler's run-time library that is linked into the program itself counts
  ///   as the program: its locks stay locked.
  /// @return true also if the thread is not running, or ends later. False, with the thread not
  ///         ended, if the system has no timer or signal for it, on an unknown processor or C
  ///         library (other than x86-64 and 64-bit ARM, glibc before 2.35), and under an address or
  ///         thread sanitizer, which would lose count. The thread counts as not running either way.
  virtual bool stop() = 0;

  /// Waits until the routine has returned and the thread has ended. Afterwards the thread counts as
  /// not running, even if it has not ended.
  /// @return true if it has ended; false on time-out, and if it was never started.
  virtual bool wait_for_exit(unsigned long timeout) = 0;

protected:
  IThread(IThread const &) = default;
  IThread &operator=(IThread const &) = default;
};

} // namespace Ostrel
