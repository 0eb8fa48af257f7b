// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks a function that runs in a signal handler: it may interrupt a sanitizer's own code, and so
/// calls none of it.
#define IN_HANDLER __attribute__((no_sanitize("address", "thread", "undefined")))

struct sigaction;

namespace Ostrel {

using SetAction = int(int signal, struct sigaction const *action, struct sigaction *before);

/// The C library's own `sigaction`: a sanitizer's delays signals until the thread makes a call that
/// it knows. Null where a handler cannot judge the stack of its thread: with this processor or C
/// library, or for lack of memory when the library was loaded.
SetAction *set_action_of_c_library() noexcept;

/// Whether the calling thread, interrupted by the signal whose handler calls this, can be ended
/// where it is without harm to other threads. `base` is the function at which the look outwards
/// ends.
bool is_safe_point(void const *base) noexcept;

} // namespace Ostrel
