// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32SharedLibrary.hpp"

#include <new>

namespace Ostrel {

ISharedLibrary *Platform::create_shared_library() {
  return new (std::nothrow) Win32SharedLibrary;
}

} // namespace Ostrel
