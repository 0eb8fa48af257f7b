// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/process/Rundown.hpp"

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

Rundown::Count Rundown::_counts[RESOURCES];

// Polls: otherwise every thread that leaves would have to set an event.
bool Rundown::close(Resource resource) noexcept {
  constexpr int LONGEST_WAIT_MS = 1000;
  Count &count = _counts[resource];
  count.is_closed.store(true);
  for (int waited_ms = 0; count.inside.load() > 0; ++waited_ms) {
    if (_own[resource] > 0 || waited_ms == LONGEST_WAIT_MS) {
      return false;
    }
    Sleep(1);
  }
  return true;
}

void Rundown::forget_other_threads() noexcept {
  for (int resource = 0; resource < RESOURCES; ++resource) {
    _counts[resource].inside.store(_own[resource]);
  }
}

} // namespace Ostrel
