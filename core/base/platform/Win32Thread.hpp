// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/IThread.hpp"

#include <atomic>

namespace Ostrel {

/// The thread of the operating system.
///
/// Destroying it releases the system's handle; it neither stops the thread nor waits for it. The
/// memory of a thread that still runs then is freed when a later thread is started or destroyed.
class OSTBASE_API Win32Thread : public IThread {
public:
  /// Does not start the thread.
  /// @param routine   the function that `start` runs; null makes every `start` fail.
  /// @param argument  passed to the routine unchanged; not touched here.
  Win32Thread(Routine routine, void *argument);
  Win32Thread(Win32Thread const &) = delete;
  Win32Thread &operator=(Win32Thread const &) = delete;
  ~Win32Thread() override;

  unsigned long get_id() const override;
  bool start() override;
  bool stop() override;
  bool wait_for_exit(unsigned long timeout) override;

private:
  void *handle_ = nullptr; // of the thread that the last `start` started; null if it started none
  unsigned long id_ = 0;
  std::atomic<bool> running_{false}; // started, and neither stopped nor waited for
  Routine routine_;
  void *argument_;
};

} // namespace Ostrel
