// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IObject.hpp"

#include <atomic>
#include <cstdint>
#include <memory>

namespace Ostrel {

class IAcquirable;
class IMutex;

/// Counts the owners of an object. Created with `new`; the creator is the first owner.
class OSTBASE_API ObjectImpl : public IObject {
public:
  /// How the count is protected.
  enum ThreadSafety : int {
    SAFETY_DEFAULT = 0,   ///< The mode that `get_default_thread_safety` returns at construction.
    SAFETY_NONE = 1,      ///< Unprotected: one thread at a time.
    SAFETY_GLOBAL = 2,    ///< By one mutex that all such objects of the process share.
    SAFETY_PER_OBJECT = 3 ///< By a mutex of its own.
  };

  /// Creates an object with one owner. If the mutex of `SAFETY_PER_OBJECT` cannot be created, the
  /// shared mutex protects the count.
  explicit ObjectImpl(ThreadSafety thread_safety = SAFETY_DEFAULT);
  ObjectImpl(ObjectImpl const &) = delete;
  ObjectImpl &operator=(ObjectImpl const &) = delete;

  unsigned int add_ref() override;

  /// If this was the last owner, releases the lock, then deletes the object. If the count is 0, as
  /// in the object's destructor, returns 0 and does nothing.
  unsigned int remove_ref() override;

  unsigned int ref_count() override;

  /// Supports no other interface.
  /// @return `RESULT_NOT_IMPLEMENTED`, with `result` untouched.
  unsigned long obtain_interface(unsigned long interface_id, char const *interface_name,
                                 void **result) override;

  /// Returns the mode of this object, which never changes and is never `SAFETY_DEFAULT`.
  ThreadSafety get_thread_safety() const noexcept { return thread_safety_; }

  /// Sets the mode of objects that are constructed later with `SAFETY_DEFAULT`. Passing
  /// `SAFETY_DEFAULT` sets `SAFETY_NONE`. Callable from any thread at any time.
  static void set_default_thread_safety(ThreadSafety thread_safety) noexcept;
  static ThreadSafety get_default_thread_safety() noexcept;

  /// The variable of the two operations above; initially `SAFETY_NONE`. Access it directly only
  /// while no other thread constructs an object or calls these operations.
  static ThreadSafety _default_thread_safety;

protected:
  ~ObjectImpl() override;

  /// Acquires the mutex of the object's mode, so that other threads cannot change the count. The
  /// mutex is recursive. In `SAFETY_NONE` does nothing and returns true.
  /// @return whether the caller holds the mutex. False once after a thread ended while holding the
  ///         object's own mutex: the next call acquires it.
  bool maybe_lock();

  /// Releases the mutex once. In `SAFETY_NONE` does nothing and returns true.
  /// @return false, with nothing changed, if the caller does not hold the mutex.
  bool maybe_unlock();

private:
  IAcquirable *mutex() const;

  unsigned int count() const noexcept { return count_.load(std::memory_order_relaxed); }
  unsigned int set_count(unsigned int count) noexcept {
    count_.store(count, std::memory_order_relaxed);
    return count;
  }

  // Guarded by the mutex; atomic, so that no read is a data race.
  std::atomic<std::uint32_t> count_{0};
  std::unique_ptr<IMutex> mutex_; // null unless SAFETY_PER_OBJECT, or if out of memory
  ThreadSafety thread_safety_;
};

} // namespace Ostrel
