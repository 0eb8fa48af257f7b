// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/DirectoryLock.hpp"

#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <string>

namespace Ostrel {

namespace {

// Between two attempts: a wait for the lock cannot be bounded. Shorter than most saves.
constexpr DWORD PAUSE_MS = 1;

} // namespace

DirectoryLock::DirectoryLock(char const *file, std::uint32_t timeout_ms) {
  std::string target;
  if (!find_link_target(file, &target)) {
    return;
  }
  ULONGLONG const start = GetTickCount64();
  DirectoryLockOutcome outcome = try_lock_directory_of(target.c_str(), &lock_);
  while (outcome == DirectoryLockOutcome::BUSY && GetTickCount64() - start < timeout_ms) {
    Sleep(PAUSE_MS);
    outcome = try_lock_directory_of(target.c_str(), &lock_);
  }
  if (outcome != DirectoryLockOutcome::UNAVAILABLE) {
    state_ = outcome == DirectoryLockOutcome::LOCKED ? State::HELD : State::BUSY;
  }
}

DirectoryLock::~DirectoryLock() {
  if (state_ == State::HELD) {
    unlock_directory(lock_);
  }
}

} // namespace Ostrel
