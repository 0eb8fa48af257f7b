// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Win32PlatformCategory.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdint>

namespace Ostrel {

namespace {

constexpr double MILLISECONDS_PER_SECOND = 1000.0;
constexpr double MICROSECONDS_PER_SECOND = 1000000.0;
constexpr unsigned long LONGEST_SLEEP_MS = INFINITE - 1; // in one call: INFINITE has no end

} // namespace

ClassCategory win32_platform_category("Ostrel.Core.Base.Win32Platform");

OSTBASE_TERMINATION_POINT void Platform::millisecond_sleep(unsigned long milliseconds) {
  while (milliseconds > LONGEST_SLEEP_MS) {
    Sleep(static_cast<DWORD>(LONGEST_SLEEP_MS));
    milliseconds -= LONGEST_SLEEP_MS;
  }
  Sleep(static_cast<DWORD>(milliseconds));
  prevent_tail_call();
}

double Platform::get_timestamp() {
  LARGE_INTEGER frequency = {}, counter = {};
  if (QueryPerformanceFrequency(&frequency) == FALSE ||
      QueryPerformanceCounter(&counter) == FALSE) {
    return 0.0;
  }
  return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

unsigned long Platform::get_millisecond_time() {
  double const milliseconds = get_timestamp() * MILLISECONDS_PER_SECOND;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(milliseconds));
}

double Platform::get_microsecond_time() {
  return get_timestamp() * MICROSECONDS_PER_SECOND;
}

void Platform::get_local_time(int *hour, int *minute, int *second) {
  SYSTEMTIME time = {};
  GetLocalTime(&time);
  if (hour != nullptr) {
    *hour = time.wHour;
  }
  if (minute != nullptr) {
    *minute = time.wMinute;
  }
  if (second != nullptr) {
    *second = time.wSecond;
  }
}

void Platform::write_standard_error(char const *text, std::size_t size) {
  if (text != nullptr) {
    write_whole(GetStdHandle(STD_ERROR_HANDLE), text, size);
  }
}

std::ptrdiff_t Platform::write_descriptor(int descriptor, void const *data, std::size_t size) {
  if (data == nullptr && size > 0) {
    return -1;
  }
  auto const *const bytes = static_cast<char const *>(data);
  std::size_t written = 0;
  do {
    int const taken = _write(descriptor, bytes + written, transfer_size(size - written));
    if (taken <= 0) {
      return written > 0 ? static_cast<std::ptrdiff_t>(written) : taken;
    }
    written += static_cast<unsigned int>(taken);
  } while (written < size);
  return static_cast<std::ptrdiff_t>(written);
}

unsigned long Platform::get_current_process_id() {
  return GetCurrentProcessId();
}

unsigned long Platform::get_current_thread_id() {
  return GetCurrentThreadId();
}

unsigned long Platform::kill(int) {
  return RESULT_FAILURE;
}

unsigned long Platform::spawn(char const *, int *) {
  return RESULT_FAILURE;
}

} // namespace Ostrel
