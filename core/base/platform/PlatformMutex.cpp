// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"

#include <memory>
#include <new>

namespace Ostrel {

IMutex *Platform::create_mutex(bool /*unused*/) {
  unsigned long result = RESULT_SYSTEM_ERROR;
  std::unique_ptr<IMutex> mutex(
      new (std::nothrow) Win32Mutex(/*initially_owned=*/false, /*name=*/nullptr,
                                    /*open_existing=*/false, /*security=*/nullptr, &result));
  if (mutex == nullptr || result != RESULT_SUCCESS) {
    return nullptr;
  }
  return mutex.release();
}

} // namespace Ostrel
