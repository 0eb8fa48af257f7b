// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// The handlers around a fork. A child has only the thread that forked, but a copy of the state
/// that other threads were changing. Therefore the forking thread first acquires every
/// ProcessMutex, in order of rank, and both processes release them afterwards. Internal to the
/// library.
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
  enum ChildStep : int {
    MUTEX_OWNERS,
    THREADS,
    CONSOLE,
    NAMED_MUTEXES,
    DIRECTORY_LOCK,
    LOGGING,
    CHILD_STEPS
  };

  /// Registers a function to be called in the child of every later fork.
  static void set_child_step(ChildStep step, void (*function)() noexcept) noexcept;

  /// The number of forks between the process that loaded the library and this one. State that was
  /// recorded with another number is a parent's.
  static unsigned int generation() noexcept;

  // For the system layer, which registers them as the handlers of a fork.
  static void before() noexcept;
  static void after_in_parent() noexcept;
  static void after_in_child() noexcept;
};

} // namespace Ostrel
