// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace Ostrel {

/// Allocates the categories of the process from a static arena and, when that is full, from the
/// heap. Categories outlive the hierarchy, because callers keep pointers to them; the arena exists
/// as long as the library is loaded. Internal to the library.
class CategoryMemory {
public:
  // Both need the mutex of the process's hierarchy, in words only: the callers hold it through a
  // pointer that may lead to the mutex of another hierarchy.

  /// Allocates memory for a category, to be kept once the set-up has succeeded. Null if out of
  /// memory.
  static void *allocate(std::size_t size) noexcept;

  /// Frees all memory after a failed set-up, when no caller has a category yet.
  static void free_all() noexcept;
};

} // namespace Ostrel
