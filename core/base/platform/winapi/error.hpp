// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

/// The Windows error number for a POSIX one; `ERROR_GEN_FAILURE` for one that has no counterpart.
DWORD error_from_errno(int error) noexcept;

/// The same for a file that cannot be opened. ENOMEM then means the kernel's memory.
DWORD error_of_open(int error) noexcept;

/// Sets the last error and returns FALSE, as most calls of the layer do on failure.
BOOL fail(DWORD error) noexcept;

/// The same with the number for `errno`; FormatMessageA then has the text of that `errno`.
BOOL fail_with_errno() noexcept;

/// The same with another number, but the text of `errno`.
BOOL fail_with_errno(DWORD error) noexcept;

/// The same after a failure of the loader; FormatMessageA then has the loader's message.
BOOL fail_in_loader(DWORD error) noexcept;

} // namespace Ostrel
