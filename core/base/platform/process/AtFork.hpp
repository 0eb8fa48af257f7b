// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// What happens around a fork. A child has one thread, the one that forked, and a copy of what the
/// others were in the middle of. So the thread that forks first acquires every ProcessMutex, in the
/// order of their ranks, and both processes release them afterwards. Internal to the library.
///
/// A mutex that another thread keeps for longer than a second (it waits for the forking thread, or
/// for a disk that does not answer) is left out, and further ones after 50 ms: the child finds it
/// abandoned, and what it guards as that thread left it. The mutexes of single objects are not
/// among these: the child finds those that other threads held abandoned, and a line of a log may be
/// written in part.
class AtFork {
public:
  /// What a child does first, in this order, with its one thread.
  ///
  /// The owners first, since the other steps may acquire mutexes.
  enum ChildStep : int { MUTEX_OWNERS, THREADS, CONSOLE, NAMED_MUTEXES, LOGGING, CHILD_STEPS };

  /// Has a function called in the child of every fork from now on.
  static void set_child_step(ChildStep step, void (*function)() noexcept) noexcept;

  /// How many forks lie between this process and the one that loaded the library: what remembers
  /// another number was made in a parent of this process.
  static unsigned int generation() noexcept;

  // For the system layer, which has them called around each fork.
  static void before() noexcept;
  static void after_in_parent() noexcept;
  static void after_in_child() noexcept;
};

} // namespace Ostrel
