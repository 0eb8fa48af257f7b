// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

/// What stands behind every `HANDLE`. An operation that a kind of object does not have fails with
/// `ERROR_INVALID_HANDLE`, as it does for a handle that is none.
class Handle {
public:
  Handle() = default;
  Handle(Handle const &) = delete;
  Handle &operator=(Handle const &) = delete;
  virtual ~Handle() = default;

  /// `WaitForSingleObject` on this object.
  virtual DWORD wait(DWORD milliseconds) noexcept;

  /// `ReleaseMutex` on this object.
  virtual BOOL release_mutex() noexcept;

  /// The descriptor of a file; -1, without a last error, for every other kind of object.
  virtual int descriptor() const noexcept { return -1; }

  /// `CloseHandle`: the handle is gone afterwards; the object as well, unless something that is
  /// still going on needs it longer.
  virtual void close() noexcept { delete this; }

  HANDLE handle() noexcept { return this; }

  /// The object behind a handle; null for null and `INVALID_HANDLE_VALUE`.
  static Handle *of(HANDLE handle) noexcept {
    return handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<Handle *>(handle);
  }
};

} // namespace Ostrel
