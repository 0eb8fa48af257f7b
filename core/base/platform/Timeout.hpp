// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

/// A time-out as the system's calls take it: an `unsigned long` may be wider, and what is longer
/// than the system can count has no limit.
constexpr DWORD timeout_from(unsigned long milliseconds) noexcept {
  return milliseconds < INFINITE ? static_cast<DWORD>(milliseconds) : INFINITE;
}

} // namespace Ostrel
