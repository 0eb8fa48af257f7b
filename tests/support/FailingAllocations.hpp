// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Makes one allocation of this thread with `new` fail, after `count` others succeeded.
void fail_allocation(int count);

/// Calls `action` once, in this thread's allocation after `count` others.
void at_allocation(int count, void (*action)());

/// Cancels a pending failure or action.
/// @return whether an allocation failed.
bool stop_failing();

/// Returns the number of allocations with `new` that this thread has made and not freed.
long allocations_alive();
