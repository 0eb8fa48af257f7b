// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Visits.hpp"

#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

namespace {

constexpr int LONGEST_WAIT_MS = 1000;
constexpr unsigned int PROCESS_SHIFT = 32;
constexpr std::uint64_t COUNT = 0xFFFFFFFF;

bool is_of(std::uint64_t inside, std::uint32_t process) {
  return inside >> PROCESS_SHIFT == process;
}

} // namespace

Visit::Visit(Visits &visits) noexcept
    : visits_(visits), process_(fork_count()), is_inside_(visits.enter(process_)) {}

// Sequentially consistent, with the end: either that sees the visitor, or the visitor sees it.
bool Visits::enter(std::uint32_t process) noexcept {
  std::uint64_t const first = std::uint64_t{process} << PROCESS_SHIFT | 1;
  std::uint64_t inside = inside_.load(std::memory_order_relaxed);
  while (!inside_.compare_exchange_weak(inside, is_of(inside, process) ? inside + 1 : first)) {
  }
  bool const is_let_in = !is_closed_.load();
  if (!is_let_in) {
    leave(process);
  }
  return is_let_in;
}

// A visit that was begun in the parent is not among those of the child, once that has one.
void Visits::leave(std::uint32_t process) noexcept {
  std::uint64_t inside = inside_.load(std::memory_order_relaxed);
  while (is_of(inside, process) && !inside_.compare_exchange_weak(inside, inside - 1)) {
  }
}

bool Visits::close() noexcept {
  is_closed_.store(true);
  std::uint32_t const process = fork_count();
  for (int waited_ms = 0;; ++waited_ms) {
    std::uint64_t const inside = inside_.load();
    if (!is_of(inside, process) || (inside & COUNT) == 0) {
      return true;
    }
    if (waited_ms == LONGEST_WAIT_MS) {
      return false;
    }
    Sleep(1);
  }
}

} // namespace Ostrel
