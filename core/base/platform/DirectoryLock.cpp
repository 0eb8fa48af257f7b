// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/DirectoryLock.hpp"

#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <string>

namespace Ostrel {

DirectoryLock::DirectoryLock(char const *file, std::uint32_t timeout_ms) {
  std::string target;
  if (!find_link_target(file, &target)) {
    return;
  }
  switch (lock_directory_of(target.c_str(), timeout_ms, &lock_, &had_to_wait_)) {
  case DirectoryLockOutcome::LOCKED:
    state_ = State::HELD;
    break;
  case DirectoryLockOutcome::BUSY:
    state_ = State::BUSY;
    break;
  case DirectoryLockOutcome::UNAVAILABLE:
    state_ = State::UNAVAILABLE;
    break;
  case DirectoryLockOutcome::FAILED:
    state_ = State::FAILED;
    break;
  }
}

DirectoryLock::~DirectoryLock() {
  constexpr DWORD PAUSE_MS = 1; // not shorter than that of a waiting process
  if (state_ != State::HELD) {
    return;
  }
  unlock_directory(lock_);
  if (had_to_wait_) {
    Sleep(PAUSE_MS);
  }
}

} // namespace Ostrel
