// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

/// What stands behind every `HANDLE`. An operation that a kind of object does not have fails with
/// `ERROR_INVALID_HANDLE`, as it does for a handle that is none.
class Handle {
public:
  Handle() noexcept = default;
  Handle(Handle const &) = delete;
  Handle &operator=(Handle const &) = delete;
  virtual ~Handle() = default;

  /// `WaitForSingleObject` on this object.
  virtual DWORD wait(DWORD milliseconds) noexcept;

  /// `ReleaseMutex` on this object.
  virtual BOOL release_mutex() noexcept;

  /// `SetEvent` on this object, for a sleeper that takes `mutex` next; null for any other.
  virtual BOOL set_event(HANDLE mutex) noexcept;

  /// `ResumeThread` on this object.
  virtual DWORD resume() noexcept;

  /// `TerminateThread` on this object.
  virtual BOOL terminate() noexcept;

  /// Whether this is an open file. A cast that asks the type would cost each log line more than the
  /// lock does.
  virtual bool is_file() const noexcept { return false; }

  /// `CloseHandle`: the handle is gone afterwards; the object as well, unless something that is
  /// still going on needs it longer.
  virtual void close() noexcept { delete this; }

  HANDLE handle() noexcept { return this; }

  /// The handle of a mutex without a name ends in the bits 01, as no address and no
  /// `INVALID_HANDLE_VALUE` does. The library locks with these all the time: the bits tell one
  /// without a look at the object, which is no `Handle`.
  static HANDLE mutex_handle(void *mutex) noexcept { return static_cast<char *>(mutex) + 1; }
  static bool is_mutex(HANDLE handle) noexcept {
    constexpr std::uintptr_t TAG = 3;
    return (reinterpret_cast<std::uintptr_t>(handle) & TAG) == 1;
  }
  static void *mutex_address(HANDLE handle) noexcept { return static_cast<char *>(handle) - 1; }

  /// The object behind a handle; null for null, `INVALID_HANDLE_VALUE` and a mutex without a name.
  static Handle *of(HANDLE handle) noexcept {
    return handle == INVALID_HANDLE_VALUE || is_mutex(handle) ? nullptr
                                                              : static_cast<Handle *>(handle);
  }
};

} // namespace Ostrel
