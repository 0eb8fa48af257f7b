// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/CategoryMemory.hpp"

#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr std::size_t ARENA_BYTES = 1024UL * 1024; // some 7,000 categories

// A block outside the arena. The list keeps it reachable for leak checkers.
struct alignas(std::max_align_t) FurtherMemory {
  FurtherMemory *next;
};

// All guarded by the mutex of the process's hierarchy.
alignas(std::max_align_t) unsigned char arena[ARENA_BYTES];
std::size_t arena_used = 0;
FurtherMemory *further_memory = nullptr;

constexpr std::size_t aligned(std::size_t size) {
  constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
  return (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

} // namespace

void *CategoryMemory::allocate(std::size_t size) noexcept {
  std::size_t const needed = aligned(size);
  if (needed <= ARENA_BYTES - arena_used) {
    return arena + std::exchange(arena_used, arena_used + needed);
  }
  void *const memory = ::operator new(sizeof(FurtherMemory) + size, std::nothrow);
  if (memory == nullptr) {
    return nullptr;
  }
  further_memory = new (memory) FurtherMemory{further_memory};
  return further_memory + 1;
}

void CategoryMemory::free_all() noexcept {
  arena_used = 0;
  FurtherMemory *memory = std::exchange(further_memory, nullptr);
  while (memory != nullptr) {
    ::operator delete(std::exchange(memory, memory->next));
  }
}

} // namespace Ostrel
