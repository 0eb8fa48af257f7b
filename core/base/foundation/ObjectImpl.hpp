// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IObject.hpp"

#include <atomic>
#include <cstdint>
#include <memory>

namespace Ostrel {

class IMutex;

/// Counts the owners of an object. Made with `new`; the creator is the first owner.
class OSTBASE_API ObjectImpl : public IObject {
public:
  /// How the count is protected.
  enum ThreadSafety : int {
    SAFETY_DEFAULT = 0,   ///< As `get_default_thread_safety` says when the object is made.
    SAFETY_NONE = 1,      ///< Not: one thread at a time.
    SAFETY_GLOBAL = 2,    ///< By one mutex that all such objects of the process share.
    SAFETY_PER_OBJECT = 3 ///< By a mutex of the object's own.
  };

  /// Makes an object that its creator owns. Where the mode's mutex cannot be had, the count is
  /// right all the same, but `maybe_lock` gives false.
  explicit ObjectImpl(ThreadSafety thread_safety = SAFETY_DEFAULT);
  ObjectImpl(ObjectImpl const &) = delete;
  ObjectImpl &operator=(ObjectImpl const &) = delete;

  unsigned int add_ref() override;

  /// Deletes the object, with no lock held, when the last owner lets go. Gives 0 and does nothing
  /// when nobody owns the object, as in its destructor.
  unsigned int remove_ref() override;

  unsigned int ref_count() override;

  /// There is no further interface.
  /// @return `RESULT_NOT_IMPLEMENTED`, with `result` untouched.
  unsigned long obtain_interface(unsigned long interface_id, char const *interface_name,
                                 void **result) override;

  /// The mode of this object, which never changes and is never `SAFETY_DEFAULT`.
  ThreadSafety get_thread_safety() const noexcept { return thread_safety_; }

  /// Sets the mode of objects that are made from now on without one of their own. `SAFETY_DEFAULT`
  /// stands for `SAFETY_NONE`. Callable from any thread at any time.
  static void set_default_thread_safety(ThreadSafety thread_safety) noexcept;
  static ThreadSafety get_default_thread_safety() noexcept;

  /// What the two operations above set and read; at first `SAFETY_NONE`.
  static std::atomic<ThreadSafety> _default_thread_safety;

protected:
  ~ObjectImpl() override;

  /// Takes the lock of the object's mode, so that its count stands still; the owner may take it
  /// again. Does nothing and gives true in `SAFETY_NONE`.
  /// @return whether the caller holds it. False without a mutex, after the unload of the library
  ///         in `SAFETY_GLOBAL`, and where this is the first to meet a lock whose holder has ended.
  bool maybe_lock();

  /// Gives the lock back. Does nothing and gives true in `SAFETY_NONE`.
  /// @return false when the caller does not hold it.
  bool maybe_unlock();

private:
  class Turn;

  bool is_lockable() const noexcept;
  void note_hold() noexcept;
  bool is_held_by_caller() const noexcept;
  template <typename Next> unsigned int step(Next next);
  template <typename Next> unsigned int step_in_turn(Next next);

  // Owners in the lower half. In the upper one, how often the object's own mutex is held; in
  // SAFETY_GLOBAL a number that never changes and is not zero. What a thread that ended has held
  // stays there until the next hold, which costs time alone.
  std::atomic<std::uint64_t> count_{0};
  std::unique_ptr<IMutex> mutex_; // null but in SAFETY_PER_OBJECT, and when it could not be made
  std::atomic<std::uint64_t> holder_{0}; // the thread that took that mutex last; changes under it
  ThreadSafety thread_safety_;
};

} // namespace Ostrel
