// SPDX-License-Identifier: Apache-2.0
#pragma once

/// An allocator with intended failures. Its `malloc` and related functions replace the C library's
/// in the whole program: in the standard library, the XML library and ours.
namespace FailingMalloc {

/// Which allocations fail, from the chosen one on.
enum class Failures { NONE, ONE, ALL };

/// Makes one allocation of this thread fail, or that one and all later ones, until the next call:
/// the one after `count` others inside `Strained` blocks.
void plan(Failures failures, unsigned long count);

/// The environment variable that plans the same for the allocations of the library during its load,
/// as "ONE 7" or "ALL 7".
constexpr char const *AT_LOAD = "FAILING_MALLOC_AT_LOAD";

/// The number of this thread's allocations that failed, and of those that could have failed; the
/// same for the library's allocations during a load with a plan.
unsigned long failed();
unsigned long strained();
unsigned long failed_at_load();
unsigned long strained_at_load();

/// Whether the first failure was in a call of that function, which must have a dynamic symbol.
bool has_failed_first_in(char const *function);

/// Prints the stack of the first failure.
void show_first_failure(int descriptor);

/// The number of blocks that the program has allocated.
long held();

/// Allocations of this thread may fail during the life of this object.
class Strained {
public:
  Strained();
  Strained(Strained const &) = delete;
  Strained &operator=(Strained const &) = delete;
  ~Strained();
};

/// Calls a function inside a `Strained` block.
template <typename Call> auto strain(Call const &call) {
  Strained const here;
  return call();
}

} // namespace FailingMalloc
