// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

/// What stands behind every `HANDLE` but that of a mutex without a name. An operation that a kind
/// of object does not have fails with `ERROR_INVALID_HANDLE`.
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

  /// The object behind a handle, unless that is one of a mutex without a name; null for null.
  static Handle *of(HANDLE handle) noexcept { return static_cast<Handle *>(handle); }
};

} // namespace Ostrel
