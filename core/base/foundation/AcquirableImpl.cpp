// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/AcquirableImpl.hpp"

#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

namespace Ostrel {

AcquirableImpl::AcquirableImpl(bool flag) : mutex_(Platform::create_mutex(flag)) {}

OSTBASE_TERMINATION_POINT bool AcquirableImpl::acquire() {
  return mutex_ != nullptr && mutex_->acquire();
}

bool AcquirableImpl::release() {
  return mutex_ != nullptr && mutex_->release();
}

bool AcquirableImpl::is_acquired() const {
  return mutex_ != nullptr && mutex_->is_acquired();
}

AcquirableImpl::~AcquirableImpl() = default;

bool AcquirableImpl::is_ok() const {
  return mutex_ != nullptr;
}

} // namespace Ostrel
