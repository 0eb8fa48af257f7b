// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Visits.hpp"

#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
#include <iterator>

namespace Ostrel {

thread_local std::uint32_t Visits::_own[PLACES] = {};
thread_local std::uint32_t Visits::_counter = 0;

std::uint32_t Visits::choose_counter() noexcept {
  static std::atomic<std::uint32_t> chosen{0};
  std::uint32_t const number = chosen.fetch_add(1, std::memory_order_relaxed) % COUNTERS;
  _counter = number + 1;
  return number;
}

bool Visits::is_anybody_inside() const noexcept {
  return std::any_of(std::begin(inside_), std::end(inside_),
                     [](Counter const &counter) { return counter.count.load() != 0; });
}

bool Visits::close() noexcept {
  constexpr int LONGEST_WAIT_MS = 1000;
  is_closed_.store(true);
  for (int waited_ms = 0; is_anybody_inside(); ++waited_ms) {
    if (_own[place_] > 0 || waited_ms == LONGEST_WAIT_MS) {
      return false;
    }
    Sleep(1);
  }
  return true;
}

void Visits::forget_others() noexcept {
  for (Counter &counter : inside_) {
    counter.count.store(0);
  }
  inside_[counter()].count.store(_own[place_]);
}

} // namespace Ostrel
