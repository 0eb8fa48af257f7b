// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32ConditionVariable.hpp"
#include "core/base/platform/Win32Thread.hpp"

#include <new>

namespace Ostrel {

IThread *Platform::create_thread(IThread::Routine routine, void *argument, bool /*unused*/) {
  return new (std::nothrow) Win32Thread(routine, argument);
}

IConditionVariable *Platform::create_condition_variable() {
  return new (std::nothrow) Win32ConditionVariable();
}

} // namespace Ostrel
