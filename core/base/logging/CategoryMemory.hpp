// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace Ostrel {

/// The memory of the process's categories, which is part of the library's image as far as it
/// reaches: a category can outlive the hierarchy for as long as code of the library can be reached
/// at all, and is gone with it. Internal to the library.
class CategoryMemory {
public:
  // Both need the mutex of the process's hierarchy, in words only: the callers hold it through a
  // pointer that may lead to the mutex of another hierarchy.

  /// Returns memory for a category, which is not freed: callers keep pointers to categories. Null
  /// when there is none.
  static void *allocate(std::size_t size) noexcept;

  /// Frees all of it, after a set-up that failed: no caller has a category yet.
  static void free_all() noexcept;
};

} // namespace Ostrel
