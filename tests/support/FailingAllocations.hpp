// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Lets this thread's allocation with `new` fail that comes after `count` others; once.
void fail_allocation(int count);

/// Calls `action` in this thread's allocation that comes after `count` others; once.
void at_allocation(int count, void (*action)());

/// Ends that.
/// @return whether an allocation failed.
bool stop_failing();

/// How many allocations with `new` this thread has made and not freed.
long allocations_alive();
