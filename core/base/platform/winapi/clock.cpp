// SPDX-License-Identifier: Apache-2.0
// Clocks, sleeping, the numbers of the process and its threads, and the version. Time stamps and
// sleeps use the monotonic clock, so that setting the calendar time changes neither.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/deadline.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/error.hpp"

#include <cerrno>
#include <ctime>

#include <unistd.h>

namespace {

// Reads the time zone at load, when there is memory for it: without memory the C library would use
// UTC from then on. Later it would read the environment, which other threads may be changing.
[[maybe_unused]] bool const zone_is_read = (tzset(), true);

} // namespace

BOOL QueryPerformanceCounter(LARGE_INTEGER *count) {
  count->QuadPart = Ostrel::monotonic_ns();
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER *ticks_per_second) {
  ticks_per_second->QuadPart = Ostrel::NANOSECONDS_PER_SECOND;
  return TRUE;
}

void Sleep(DWORD milliseconds) {
  Ostrel::TerminableWait const here;
  Ostrel::Deadline const end(milliseconds);
  while (end.time() == nullptr) {
    pause(); // until a signal arrives
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, end.time(), nullptr) == EINTR) {
  }
}

// A fork waits for this lock: the C library's own lock of the time zone would otherwise stay locked
// in a child that is forked meanwhile.
void GetLocalTime(SYSTEMTIME *time) {
  Ostrel::ProcessLock const lock(Ostrel::ProcessMutex::TIME_ZONE);
  timespec now = {}; // not by `time`, which may lag behind by some milliseconds
  clock_gettime(CLOCK_REALTIME, &now);
  tm local = {};
  localtime_r(&now.tv_sec, &local);
  *time = {static_cast<WORD>(local.tm_hour), static_cast<WORD>(local.tm_min),
           static_cast<WORD>(local.tm_sec)};
}

DWORD GetCurrentProcessId() {
  return static_cast<DWORD>(getpid());
}

DWORD GetCurrentThreadId() {
  return static_cast<DWORD>(gettid());
}

BOOL GetVersionExA(OSVERSIONINFOA *version) {
  if (version->dwOSVersionInfoSize < sizeof(OSVERSIONINFOA)) {
    return Ostrel::fail(ERROR_INSUFFICIENT_BUFFER);
  }
  version->dwPlatformId = VER_PLATFORM_WIN32_NT;
  return TRUE;
}
