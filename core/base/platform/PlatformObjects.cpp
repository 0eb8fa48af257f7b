// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32ConditionVariable.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "core/base/platform/Win32SharedLibrary.hpp"
#include "core/base/platform/Win32Thread.hpp"

#include <memory>
#include <new>

namespace Ostrel {

IMutex *Platform::create_mutex(bool /*unused*/) {
  unsigned long result = RESULT_SYSTEM_ERROR;
  std::unique_ptr<IMutex> mutex(
      new (std::nothrow) Win32Mutex(/*initially_owned=*/false, /*name=*/nullptr,
                                    /*open_existing=*/false, /*security=*/nullptr, &result));
  return result == RESULT_SUCCESS ? mutex.release() : nullptr;
}

IThread *Platform::create_thread(IThread::Routine routine, void *argument, bool /*unused*/) {
  return new (std::nothrow) Win32Thread(routine, argument);
}

IConditionVariable *Platform::create_condition_variable() {
  return new (std::nothrow) Win32ConditionVariable();
}

ISharedLibrary *Platform::create_shared_library() {
  return new (std::nothrow) Win32SharedLibrary;
}

} // namespace Ostrel
