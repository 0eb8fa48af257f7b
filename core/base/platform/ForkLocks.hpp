// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

class IAcquirable;

/// The locks of the process-wide state, which every thread that forks the process holds meanwhile:
/// in the child, where the other threads are not, that state is then whole and nobody's. Internal
/// to the library.
///
/// A thread that forks waits for them for about a second in all and then goes on without those that
/// it could not have, since their owner may be waiting for it: a source that is being loaded, or an
/// output, is not our code. The child gets such a lock as abandoned, with its state as it was.
///
/// Likewise it gets the locks that are not among these when other threads hold them: those of
/// outputs, the one that objects of `SAFETY_GLOBAL` share, and that of library loads. They stop
/// nobody there for good: who meets an abandoned lock asks twice, and `maybe_lock` tells its caller
/// once. But a line may be written in part, an object count as held, and a load be half done, and
/// what an output of the program's own has taken for itself nobody gives back.
///
/// The turn of a logging set-up is not among them either: it is no mutex but the number of the
/// process, so that a child sees whose it was and takes it, and nothing of the set-up is in place
/// before it is whole.
class ForkLocks {
public:
  /// The order in which they are taken, outermost first: that of all who hold several.
  enum Rank : int { USER_CONFIGURATION, CONFIGURATION, SOURCE, HIERARCHY };

  struct Lock {
    /// Gives what `acquire` gives.
    IAcquirable *(*take)();
    /// Gets what `take` gave.
    void (*give_back)(IAcquirable *taken) = release;
    /// Called in the child alone, before that; null for nothing.
    void (*in_child)() = nullptr;
  };

  /// Makes a lock known.
  /// @param lock  borrowed for as long as the library is loaded.
  static void add(Rank rank, Lock const &lock) noexcept;

  /// For `take`: acquires what may have been abandoned.
  /// @param target  borrowed; null is never had.
  /// @return the target, or null when it could not be had.
  static IAcquirable *acquire(IAcquirable *target);

  /// Gives back what was had, if anything.
  static void release(IAcquirable *taken);

  /// For the end of a lock that `take` does not find any more: waits until nobody forks who may
  /// still have it.
  /// @return false when that lasts too long: then the lock must stay.
  static bool wait_for_all() noexcept;
};

} // namespace Ostrel
