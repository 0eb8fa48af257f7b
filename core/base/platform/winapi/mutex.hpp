// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>

namespace Ostrel {

/// `WaitForSingleObject` on the handle of a mutex without a name.
DWORD wait_for_mutex(HANDLE mutex, DWORD milliseconds) noexcept;

/// `CloseHandle` on it.
void close_mutex(HANDLE mutex) noexcept;

/// Leaves it to the release of the mutex to wake one thread that sleeps on `word`, which may be
/// gone by then. @return false when the calling thread does not own the mutex, or wakes one
/// already.
bool wake_at_release(HANDLE mutex, std::atomic<std::uint32_t> *word) noexcept;

/// What to do if no process uses the mutex of a name.
enum class Missing { FAIL, CREATE, CREATE_OWNED };

/// Opens the mutex of that name, or creates it.
/// @return its handle; null, with the last error, on failure: `ERROR_FILE_NOT_FOUND` if no process
///         uses it and `missing` is `FAIL`. The last error is `ERROR_ALREADY_EXISTS` if it was used
///         already.
HANDLE named_mutex(char const *name, Missing missing) noexcept;

/// Creates a mutex without a name that stands between the threads of one process in front of a
/// mutex with a name. When its owner ends, `abandon_file_of` is called before it becomes free.
/// @return its handle; null without memory.
HANDLE create_inner_mutex() noexcept;

/// Whether the calling thread owns that mutex.
bool owns_inner_mutex(HANDLE mutex) noexcept;

/// Releases for other processes the mutex with a name that has this inner mutex; it is abandoned.
void abandon_file_of(HANDLE inner_mutex) noexcept;

/// Makes the mutexes that the calling thread holds abandoned, for a thread that ends at once.
void abandon_held_mutexes() noexcept;

/// Has a function called at the very end of the calling thread, when the destructors of its
/// variables have run and what it held is abandoned. Once for a thread.
/// @return false when the end of this thread cannot be noticed.
bool call_at_thread_end(void (*function)(void *), void *argument) noexcept;

} // namespace Ostrel
