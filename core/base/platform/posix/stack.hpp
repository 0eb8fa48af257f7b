// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// Whether `is_safe_to_end` can be used: not with an unknown processor or C library, under a
/// sanitizer, which loses count of a thread that is ended, and if memory was lacking at load.
bool can_inspect_stack() noexcept;

/// Whether the calling thread can be ended where the signal interrupted it whose handler calls
/// this, without harm to other threads.
/// @param base        the function of this library at which the look outwards ends.
/// @param is_in_wait  whether the thread is in a wait of this library that may be ended.
bool is_safe_to_end(void const *base, bool is_in_wait) noexcept;

} // namespace Ostrel
