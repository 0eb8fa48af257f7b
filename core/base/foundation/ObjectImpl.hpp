// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IObject.hpp"

#include <atomic>
#include <cstdint>
#include <memory>

namespace Ostrel {

class IAcquirable;
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

  /// Makes an object that its creator owns. If there is no memory for its own mutex, an object of
  /// `SAFETY_PER_OBJECT` is protected by the shared one.
  explicit ObjectImpl(ThreadSafety thread_safety = SAFETY_DEFAULT);
  ObjectImpl(ObjectImpl const &) = delete;
  ObjectImpl &operator=(ObjectImpl const &) = delete;

  unsigned int add_ref() override;

  /// Deletes the object, after releasing the lock, when the last owner lets go. If the count is 0,
  /// as in the object's destructor, returns 0 and does nothing.
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

  /// What the two operations above set and read; at first `SAFETY_NONE`. A direct access needs a
  /// moment at which no other thread makes an object or calls these operations.
  static ThreadSafety _default_thread_safety;

protected:
  ~ObjectImpl() override;

  /// Acquires the lock of the object's mode, so that other threads cannot change the count. The
  /// owner may acquire it again. In `SAFETY_NONE` does nothing and returns true.
  /// @return whether the caller holds it. False once after a thread has ended while holding an
  ///         object's own mutex: the next call acquires it.
  bool maybe_lock();

  /// Releases the lock once. In `SAFETY_NONE` does nothing and returns true.
  /// @return false, with nothing changed, when the caller does not hold it.
  bool maybe_unlock();

private:
  IAcquirable *mutex() const;

  unsigned int count() const noexcept { return count_.load(std::memory_order_relaxed); }
  unsigned int set_count(unsigned int count) noexcept {
    count_.store(count, std::memory_order_relaxed);
    return count;
  }

  std::atomic<std::uint32_t> count_{
      0};                         // guarded by the mutex; atomic so that no read is a data race
  std::unique_ptr<IMutex> mutex_; // null unless SAFETY_PER_OBJECT, and without memory
  ThreadSafety thread_safety_;
};

} // namespace Ostrel
