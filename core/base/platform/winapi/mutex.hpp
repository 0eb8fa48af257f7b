// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>

namespace Ostrel {

/// `WaitForSingleObject` on the handle of a mutex without a name.
DWORD wait_for_mutex(HANDLE mutex, DWORD milliseconds) noexcept;

/// Leaves it to the release of the mutex to wake one thread that sleeps on `word`, which may be
/// gone by then. @return false when the calling thread does not own the mutex, or wakes one
/// already.
bool wake_at_release(HANDLE mutex, std::atomic<std::uint32_t> *word) noexcept;

/// Creates the mutex of that name, or opens it when it is there.
/// @return its handle; null with the last error when it cannot be had.
HANDLE create_named_mutex(char const *name, bool initially_owned) noexcept;

/// Opens the mutex of that name.
/// @return its handle; null with the last error, `ERROR_FILE_NOT_FOUND` when nobody uses it.
HANDLE open_named_mutex(char const *name) noexcept;

/// Makes the mutexes that the calling thread holds abandoned, for a thread that ends at once.
void abandon_held_mutexes() noexcept;

/// Has a function called at the very end of the calling thread, when the destructors of its
/// variables have run and what it held is abandoned. Once for a thread.
/// @return false when the end of this thread cannot be noticed.
bool call_at_thread_end(void (*function)(void *), void *argument) noexcept;

} // namespace Ostrel
