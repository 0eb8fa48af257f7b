// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ucontext.h>

/// Marks what runs in a signal handler: it may interrupt a sanitizer's own code, and so calls none
/// of it.
#define IN_HANDLER __attribute__((no_sanitize("address", "thread", "undefined")))

namespace Ostrel {

/// Whether it is known where the libraries lie whose calls a thread must leave before it can be
/// ended. That was found out when this library was loaded: later somebody else may hold the loader,
/// and wait for the thread that asks.
bool knows_safe_points() noexcept;

/// Whether a thread can be ended where it is.
enum class SafePoint {
  HERE,
  SOON, // not here, but it is on its way
  LATE, // not here, and it sleeps in the kernel
};

struct SafePointLook {
  SafePoint point;
  /// Where the return address of the call is kept that has to end before; null when that is
  /// unknown.
  void **way_back;
};

/// Whether the thread that was interrupted at `context` can be ended there, for ever, without harm
/// to others: neither the C library, the loader, libxml2 nor an operation of this library has
/// begun something that it has not finished.
///
/// For the signal handler of that thread: takes no lock and no memory.
///
/// @param base  the function at which the thread's own part of the stack ends.
SafePointLook look_for_safe_point(ucontext_t const &context, void const *base) noexcept;

/// A call whose return was turned elsewhere; none at first.
struct TurnedCall {
  void **way_back = nullptr; // where its return address is kept
  void *home = nullptr;      // the address that it had
};

/// Has a function called, which must not return, when the call ends to which `way_back` belongs.
/// The stack cannot be followed until that is undone.
TurnedCall turn_way_back(void **way_back, void (*function)()) noexcept;

/// Lets the call return to where it came from, unless it has been left meanwhile, be it by a jump.
void undo_turn(ucontext_t const &context, TurnedCall const &call) noexcept;

/// Whether a sanitizer watches this process, to which a thread that vanishes is a fault of its own.
bool is_sanitized() noexcept;

} // namespace Ostrel
