// SPDX-License-Identifier: Apache-2.0
// For a processor or C library on which a signal handler cannot safely look at the stack of its
// thread: no thread is ended by force.
#include "core/base/platform/winapi/safe_point.hpp"

namespace Ostrel {

SetAction *set_action_of_c_library() noexcept {
  return nullptr;
}

bool is_safe_point(void const * /*base*/) noexcept {
  return false;
}

} // namespace Ostrel
