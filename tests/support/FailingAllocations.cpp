// SPDX-License-Identifier: Apache-2.0
// Replaces `operator new` in the whole program, including the library.
#include "tests/support/FailingAllocations.hpp"

#include <cstdlib>
#include <new>

namespace {

constexpr int NEVER = -1;
thread_local int allocations_left = NEVER;   // before the one to act on
thread_local void (*due_action)() = nullptr; // null: the allocation fails
thread_local long alive = 0;

bool is_due() {
  return allocations_left != NEVER && allocations_left-- == 0;
}

} // namespace

void fail_allocation(int count) {
  at_allocation(count, nullptr);
}

void at_allocation(int count, void (*action)()) {
  due_action = action;
  allocations_left = count;
}

bool stop_failing() {
  bool const has_failed = allocations_left == NEVER;
  allocations_left = NEVER;
  return has_failed;
}

long allocations_alive() {
  return alive;
}

void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
  if (is_due()) {
    if (due_action == nullptr) {
      return nullptr;
    }
    due_action();
  }
  ++alive;
  return std::malloc(size == 0 ? 1 : size);
}

void *operator new(std::size_t size) {
  void *const memory = operator new(size, std::nothrow);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

// The sanitizers replace the array forms themselves, so that these would bypass the form above.
void *operator new[](std::size_t size, std::nothrow_t const &tag) noexcept {
  return operator new(size, tag);
}

void *operator new[](std::size_t size) {
  return operator new(size);
}

void operator delete(void *memory) noexcept {
  alive -= memory == nullptr ? 0 : 1;
  std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
  operator delete(memory);
}

void operator delete[](void *memory) noexcept {
  operator delete(memory);
}

void operator delete[](void *memory, std::size_t) noexcept {
  operator delete(memory);
}
