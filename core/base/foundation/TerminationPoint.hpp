// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks an operation that holds nothing of the library while it waits: a thread that is to be
/// ended by force ends in that wait. In every other operation it ends after the return. The mark is
/// a section of the library's text, since only the addresses on the thread's stack are inspected.
#ifdef __ELF__
#define OSTBASE_TERMINATION_POINT __attribute__((section("ostbase_termination_point"), noinline))
#else
#define OSTBASE_TERMINATION_POINT
#endif

namespace Ostrel {

/// Follows a wait that is the last step of a marked operation: otherwise the compiler may let the
/// waiting function replace the operation on the stack.
inline void prevent_tail_call() noexcept {
  __asm__ volatile("");
}

} // namespace Ostrel
