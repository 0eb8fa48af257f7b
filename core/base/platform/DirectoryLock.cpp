// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/DirectoryLock.hpp"

#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/system.hpp"

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
  if (state_ == State::HELD) {
    unlock_directory(lock_, had_to_wait_);
  }
}

} // namespace Ostrel
