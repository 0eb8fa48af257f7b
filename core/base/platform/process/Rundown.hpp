// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace Ostrel {

/// Counts the threads that are using a process-wide resource, so that unloading destroys it only
/// when there are none. Internal to the library.
class Rundown {
public:
  enum Resource : int { SETTINGS, LOGGING, RESOURCES };

  /// Admits no new callers and waits up to 1 s for those inside. Does not wait if the caller itself
  /// is inside (its log output called `exit`).
  /// @return whether no thread is inside: otherwise the resource must stay.
  static bool close(Resource resource) noexcept;

private:
  friend class AtFork;
  friend class RundownGuard;

  // One cache line each: threads that use different resources do not slow each other down.
  struct alignas(64) Count {
    std::atomic<unsigned int> inside{0};
    std::atomic<bool> is_closed{false};
  };

  // Sequentially consistent: either the closing thread sees the caller inside, or the caller sees
  // that the resource is closed.
  static bool enter(Resource resource) noexcept {
    ++_own[resource];
    _counts[resource].inside.fetch_add(1);
    bool const is_admitted = !_counts[resource].is_closed.load();
    if (!is_admitted) {
      leave(resource);
    }
    return is_admitted;
  }

  static void leave(Resource resource) noexcept {
    _counts[resource].inside.fetch_sub(1);
    --_own[resource];
  }

  // Called in the child of a fork, where the other threads do not exist.
  static void forget_other_threads() noexcept;

  static Count _counts[RESOURCES];
  // How often the calling thread is inside.
  static inline thread_local unsigned int _own[RESOURCES] = {};
};

/// Keeps a resource from being destroyed until the end of a block.
class RundownGuard {
public:
  explicit RundownGuard(Rundown::Resource resource) noexcept
      : resource_(resource), is_admitted_(Rundown::enter(resource)) {}
  RundownGuard(RundownGuard const &) = delete;
  RundownGuard &operator=(RundownGuard const &) = delete;
  ~RundownGuard() {
    if (is_admitted_) {
      Rundown::leave(resource_);
    }
  }

  /// False if the resource is closed and must not be used.
  explicit operator bool() const noexcept { return is_admitted_; }

private:
  Rundown::Resource const resource_;
  bool const is_admitted_;
};

} // namespace Ostrel
