// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

/// Sets the last error and returns FALSE, as most calls of the layer do on failure.
BOOL fail(DWORD error) noexcept;

/// The same with the number for `errno`, ERROR_GEN_FAILURE if it has no counterpart. FormatMessageA
/// then has the text of that `errno`.
BOOL fail_with_errno() noexcept;

/// The same with another number, but the text of `errno`.
BOOL fail_with_errno(DWORD error) noexcept;

/// The same after a failure of the loader; FormatMessageA then has the loader's message.
BOOL fail_in_loader(DWORD error) noexcept;

} // namespace Ostrel
