// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/DirectoryLock.hpp"

#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

namespace Ostrel {

DirectoryLock::DirectoryLock(char const *file, std::uint32_t timeout_ms) noexcept {
  if (lock_directory_of(file, timeout_ms, &had_to_wait_)) {
    state_ = State::HELD;
    return;
  }
  switch (GetLastError()) {
  case ERROR_SHARING_VIOLATION:
    state_ = State::BUSY;
    break;
  case ERROR_TOO_MANY_OPEN_FILES:
  case ERROR_NOT_ENOUGH_MEMORY:
    state_ = State::FAILED;
    break;
  default:
    break;
  }
}

DirectoryLock::~DirectoryLock() {
  if (state_ == State::HELD) {
    unlock_directory(had_to_wait_);
  }
}

} // namespace Ostrel
