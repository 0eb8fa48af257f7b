// SPDX-License-Identifier: Apache-2.0
// Clocks, sleeping, the numbers of the process and its threads, and the version. Time stamps and
// sleeps use the monotonic clock, so that setting the calendar time changes neither.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/deadline.hpp"
#include "core/base/platform/process/ProcessLock.hpp"
#include "core/base/platform/winapi/error.hpp"

#include <cerrno>
#include <ctime>

#include <unistd.h>

namespace {

using Ostrel::NANOSECONDS_PER_MILLISECOND;
using Ostrel::NANOSECONDS_PER_SECOND;

constexpr int FIRST_YEAR = 1900; // of tm_year

// Reads the time zone at load, when there is memory for it: without memory the C library would use
// UTC from then on. Later it would read the environment, which other threads may be changing.
[[maybe_unused]] bool const zone_is_read = (tzset(), true);

// The C library's own lock of the time zone would stay locked in a child that is forked meanwhile.
bool to_local_time(time_t time, tm *local) {
  Ostrel::ProcessLock const lock(Ostrel::ProcessMutex::TIME_ZONE);
  return localtime_r(&time, local) != nullptr;
}

} // namespace

BOOL QueryPerformanceCounter(LARGE_INTEGER *count) {
  timespec now = {};
  if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
    return Ostrel::fail_with_errno();
  }
  count->QuadPart = now.tv_sec * NANOSECONDS_PER_SECOND + now.tv_nsec;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER *ticks_per_second) {
  ticks_per_second->QuadPart = NANOSECONDS_PER_SECOND;
  return TRUE;
}

void Sleep(DWORD milliseconds) {
  Ostrel::TerminableWait const here;
  do {
    timespec const end = Ostrel::after_ms(Ostrel::monotonic_time(), milliseconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
  } while (milliseconds == INFINITE);
}

void GetLocalTime(SYSTEMTIME *time) {
  *time = {};
  timespec now = {};
  tm local = {};
  if (clock_gettime(CLOCK_REALTIME, &now) != 0 || !to_local_time(now.tv_sec, &local)) {
    return;
  }
  time->wYear = static_cast<WORD>(local.tm_year + FIRST_YEAR);
  time->wMonth = static_cast<WORD>(local.tm_mon + 1);
  time->wDayOfWeek = static_cast<WORD>(local.tm_wday);
  time->wDay = static_cast<WORD>(local.tm_mday);
  time->wHour = static_cast<WORD>(local.tm_hour);
  time->wMinute = static_cast<WORD>(local.tm_min);
  time->wSecond = static_cast<WORD>(local.tm_sec);
  time->wMilliseconds = static_cast<WORD>(now.tv_nsec / NANOSECONDS_PER_MILLISECOND);
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
