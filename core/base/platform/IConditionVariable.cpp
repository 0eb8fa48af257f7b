// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/IConditionVariable.hpp"

#include "core/base/foundation/TerminationPoint.hpp"

namespace Ostrel {

OSTBASE_TERMINATION_POINT bool IConditionVariable::acquire() {
  return lock_mutex();
}

bool IConditionVariable::release() {
  return unlock_mutex();
}

} // namespace Ostrel
