// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/AcquirableLock.hpp"

#include "core/base/foundation/IAcquirable.hpp"
#include "core/base/foundation/TerminationPoint.hpp"

namespace Ostrel {

OSTBASE_TERMINATION_POINT AcquirableLock::AcquirableLock(IAcquirable &target)
    : AcquirableLock(&target) {}

OSTBASE_TERMINATION_POINT AcquirableLock::AcquirableLock(IAcquirable *target)
    : target_(target), acquired_(target != nullptr && target->acquire()) {}

AcquirableLock::~AcquirableLock() {
  if (acquired_) {
    target_->release();
  }
}

OSTBASE_TERMINATION_POINT bool AcquirableLock::acquire() {
  if (!acquired_ && target_ != nullptr) {
    acquired_ = target_->acquire();
  }
  return acquired_;
}

bool AcquirableLock::release() {
  if (!acquired_) {
    return false;
  }
  bool const is_released = target_->release();
  acquired_ = false;
  return is_released;
}

} // namespace Ostrel
