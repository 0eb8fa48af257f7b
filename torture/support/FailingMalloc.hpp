// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The memory of the whole program, with failures on purpose: its `malloc` and what belongs to it
/// take the place of the C library's, for the standard library, the XML library and ours alike.
namespace FailingMalloc {

/// How many allocations fail, from the one that is meant on.
enum class Failures { NONE, ONE, ALL };

/// Lets this thread's allocation fail that comes after `count` others while it is in `Strained`
/// blocks, or that one and all after it, until the next call.
void plan(Failures failures, unsigned long count);

/// The environment variable that plans the same, as "ONE 7" or "ALL 7", for what the library
/// allocates while it is being loaded.
constexpr char const *AT_LOAD = "FAILING_MALLOC_AT_LOAD";

/// How many of this thread's allocations failed, and how many could have; and the same of the
/// library's while it was being loaded with a plan.
unsigned long failed();
unsigned long strained();
unsigned long failed_at_load();
unsigned long strained_at_load();

/// Whether the first of the failures was in a call of that function, of which the loader must know
/// the name.
bool has_failed_first_in(char const *function);

/// Writes the calls that led to it.
void show_first_failure(int descriptor);

/// How many blocks of memory the program holds.
long held();

/// A block in which allocations of this thread may fail.
class Strained {
public:
  Strained();
  Strained(Strained const &) = delete;
  Strained &operator=(Strained const &) = delete;
  ~Strained();
};

/// Calls the library where allocations may fail.
template <typename Call> auto strain(Call const &call) {
  Strained const here;
  return call();
}

} // namespace FailingMalloc
