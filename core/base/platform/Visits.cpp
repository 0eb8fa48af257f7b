// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Visits.hpp"

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

thread_local std::uint32_t Visits::_own[PLACES] = {};

bool Visits::close() noexcept {
  constexpr int LONGEST_WAIT_MS = 1000;
  inside_.fetch_or(CLOSED);
  for (int waited_ms = 0; inside_.load() != CLOSED; ++waited_ms) {
    if (_own[place_] > 0 || waited_ms == LONGEST_WAIT_MS) {
      return false;
    }
    Sleep(1);
  }
  return true;
}

void Visits::forget_others() noexcept {
  inside_.store((inside_.load() & CLOSED) | _own[place_]);
}

} // namespace Ostrel
