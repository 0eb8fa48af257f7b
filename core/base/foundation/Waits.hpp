// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Which operations of the library a thread may be ended in while it waits.

#ifdef __ELF__
/// Marks an operation that holds nothing of the library while it waits: a thread that is terminated
/// in its wait ends there. In every other operation it ends after the return. The mark is a section
/// of the program's text, since a thread that is ended is known by its stack alone.
#define OSTBASE_WAITS __attribute__((section("ostbase_waits"), noinline))

namespace Ostrel {

/// Stands behind the wait of a marked operation that does nothing else afterwards: what waits must
/// not take the operation's place on the stack.
inline void stay_on_stack() noexcept {
  __asm__ volatile("");
}

} // namespace Ostrel
#else
#define OSTBASE_WAITS

namespace Ostrel {

inline void stay_on_stack() noexcept {}

} // namespace Ostrel
#endif
