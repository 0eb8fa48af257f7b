// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/IAcquirable.hpp"

#include <cstdint>

namespace Ostrel {

/// The mutexes of the process-wide state, one for each rank. Recursive, owned by a thread. An
/// abandoned mutex is acquired like a free one; the state that it guards may be half changed.
/// Internal to the library.
///
/// Constant-initialised and never destroyed: usable before any constructor and after every
/// destructor. Each is held across a fork (AtFork), so that its state is consistent in the child.
class OSTBASE_CAPABILITY ProcessMutex final : public IAcquirable {
public:
  /// What each mutex guards. A thread that acquires several must do so in this order.
  enum Rank : int {
    LIBRARIES,          ///< PATH during a load. Constructors of the library run inside.
    USER_CONFIGURATION, ///< The settings of the process.
    CONFIGURATION,      ///< All facades.
    SOURCE,             ///< All XML sources, and with them libxml2.
    LOGGING,            ///< The process's hierarchy, and its set-up.
    OBJECTS,            ///< The counts of objects with `SAFETY_GLOBAL`.
    NAMED_MUTEXES,
    CONSOLE,
    ENVIRONMENT,
    TIME_ZONE,
    THREADS,
    FILES, ///< No data: opening a file waits for a fork in progress.
    RANKS
  };

  static ProcessMutex &of(Rank rank) noexcept { return _all[rank]; }

  ProcessMutex(ProcessMutex const &) = delete;
  ProcessMutex &operator=(ProcessMutex const &) = delete;

  /// @return false only where the system has no memory for a mutex (not on POSIX).
  bool acquire() override;
  bool release() override;
  /// Whether another thread has acquired it.
  bool is_acquired() const override;

  /// As `acquire`, with a time-out.
  bool acquire_within(std::uint32_t timeout_ms) noexcept;

private:
  constexpr ProcessMutex() noexcept = default;

  static ProcessMutex _all[RANKS];

  static constexpr unsigned int STORAGE_BYTES = 64;

  void *handle() const noexcept;

  alignas(std::uint64_t) mutable unsigned char storage_[STORAGE_BYTES] = {}; // of the system layer
};

/// Holds a mutex of the process-wide state until the end of a block.
class OSTBASE_SCOPED_CAPABILITY ProcessLock : public AcquirableLock {
public:
  explicit ProcessLock(ProcessMutex::Rank rank) OSTBASE_ACQUIRE(ProcessMutex::of(rank))
      : AcquirableLock(ProcessMutex::of(rank)), is_held_(AcquirableLock::acquire()) {}
  ~ProcessLock() override OSTBASE_RELEASE() = default;

  /// False only where the system has no memory for a mutex (not on POSIX).
  explicit operator bool() const noexcept { return is_held_; }

private:
  bool is_held_;
};

} // namespace Ostrel
