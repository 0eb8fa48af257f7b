// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// The locks of the process-wide state, which every thread that forks the process holds meanwhile:
/// in the child, where the other threads are not, that state is then whole and nobody's. Internal
/// to the library.
///
/// A thread that forks while it holds a mutex of this library takes none of them, since it would
/// come too late in the order of locks. The child gets what other threads held as abandoned then.
class ForkLocks {
public:
  /// The order in which they are taken, outermost first.
  enum Rank : int { USER_CONFIGURATION, CONFIGURATION, SOURCE, HIERARCHY };

  struct Lock {
    bool (*take)(); // false, with nothing taken, when there is no such lock at the time
    void (*give_back)();
  };

  /// Makes a lock known.
  /// @param lock  borrowed for as long as the library is loaded.
  static void add(Rank rank, Lock const &lock) noexcept;
};

} // namespace Ostrel
