// SPDX-License-Identifier: Apache-2.0
// For a processor or C library on which a signal handler cannot inspect the stack safely.
#include "core/base/platform/posix/stack.hpp"

bool Ostrel::can_inspect_stack() noexcept {
  return false;
}

bool Ostrel::is_safe_to_end(void const * /*base*/, bool /*is_in_wait*/) noexcept {
  return false;
}
