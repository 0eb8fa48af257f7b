// SPDX-License-Identifier: Apache-2.0
// The additions on Windows, which accepts every form of a path and resolves links itself. It tells
// no thread that it is terminated, but others can wait for its end.
#include "core/base/platform/winapi/system.hpp"

#include "core/base/platform/winapi/winapi.hpp"

#include <utility>

namespace Ostrel {

namespace {

HANDLE handle_of(std::uintptr_t thread) noexcept {
  return reinterpret_cast<HANDLE>(thread);
}

} // namespace

char const *const SHARED_LIBRARY_EXTENSION = ".dll";

bool const REPLACE_FILE_FLUSHES = false; // REPLACEFILE_WRITE_THROUGH has no effect

void to_native_path(char * /*path*/) noexcept {}

bool follow_links(char const *path, char *target, std::size_t size) noexcept {
  constexpr DWORD SHARED = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE const file = CreateFileA(path, 0, SHARED, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return strcpy_s(target, size, path) == 0;
  }
  DWORD const length = GetFinalPathNameByHandleA(file, target, static_cast<DWORD>(size), 0);
  CloseHandle(file);
  if (length == 0) { // on a file system without this information
    return strcpy_s(target, size, path) == 0;
  }
  return length < size;
}

bool lock_directory_of(char const * /*file*/, std::uint32_t /*timeout_ms*/,
                       bool * /*had_to_wait*/) noexcept {
  SetLastError(ERROR_NOT_SUPPORTED);
  return false;
}

void unlock_directory(bool /*had_to_wait*/) noexcept {}

LastErrorGuard::LastErrorGuard() noexcept : number_(GetLastError()), reason_(0) {}

LastErrorGuard::~LastErrorGuard() {
  SetLastError(number_);
}

bool set_event_before(void *event, void * /*mutex*/) noexcept {
  return SetEvent(event) != FALSE;
}

TerminationHook::TerminationHook(void (*action)(void *), void *argument) noexcept
    : action_(action), argument_(argument), outer_(nullptr) {}

TerminationHook::~TerminationHook() = default;

void ThreadInWait::begin() noexcept {
  end();
  thread_ = reinterpret_cast<std::uintptr_t>(OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId()));
}

void ThreadInWait::end() noexcept {
  if (thread_ != 0) {
    CloseHandle(handle_of(std::exchange(thread_, 0)));
  }
}

bool ThreadInWait::has_ended() const noexcept {
  return thread_ != 0 && WaitForSingleObject(handle_of(thread_), 0) == WAIT_OBJECT_0;
}

void *static_mutex(void *storage) noexcept {
  auto *const handle = static_cast<void *volatile *>(storage);
  if (*handle == nullptr) {
    HANDLE const made = CreateMutexA(nullptr, FALSE, nullptr);
    if (made != nullptr && InterlockedCompareExchangePointer(handle, made, nullptr) != nullptr) {
      CloseHandle(made);
    }
  }
  return *handle;
}

} // namespace Ostrel
