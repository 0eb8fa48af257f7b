// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/TerminationPoint.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Win32ConditionVariable.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "core/base/platform/Win32SharedLibrary.hpp"
#include "core/base/platform/Win32Thread.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr double MILLISECONDS_PER_SECOND = 1000.0;
constexpr double MICROSECONDS_PER_SECOND = 1000000.0;
constexpr char ENTER = '\r';

} // namespace

OSTBASE_TERMINATION_POINT void Platform::millisecond_sleep(unsigned long milliseconds) {
  Sleep(timeout_from(milliseconds));
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

// Not the C library's `getenv`: on Windows it does not see changes by SetEnvironmentVariableA, such
// as that of PATH during the load of a library.
bool read_environment(char const *name, std::string *value) {
  std::string text;
  DWORD length = 0;
  // Retried until the value fits: another thread may set a longer one in between.
  do {
    text.resize(length);
    SetLastError(ERROR_SUCCESS); // distinguishes an empty value from an unset variable
    length = GetEnvironmentVariableA(name, text.data(), static_cast<DWORD>(text.size()));
    if (length == 0 && GetLastError() != ERROR_SUCCESS) {
      return false;
    }
  } while (length > text.size());
  if (value != nullptr) {
    text.resize(length);
    *value = std::move(text);
  }
  return true;
}

bool Platform::get_environment_variable(char const *name, std::string *value) try {
  return read_environment(name, value);
} catch (std::bad_alloc const &) {
  return false;
}

bool Platform::input_ready(std::FILE *stream) {
  return stream != nullptr && _fileno(stream) == 0 && _kbhit() != 0;
}

OSTBASE_TERMINATION_POINT char Platform::get_char() {
  int const key = _getche();
  prevent_tail_call();
  return static_cast<char>(key);
}

OSTBASE_TERMINATION_POINT bool Platform::get_line(std::string *line) try {
  if (line == nullptr) {
    return true;
  }
  char const character = get_char();
  if (character == ENTER) {
    return true;
  }
  line->push_back(character);
  return false;
} catch (std::bad_alloc const &) {
  return false;
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

IMutex *Platform::create_mutex(bool /*unused*/) {
  unsigned long result = RESULT_SYSTEM_ERROR;
  std::unique_ptr<IMutex> mutex(
      new (std::nothrow) Win32Mutex(/*initially_owned=*/false, /*name=*/nullptr,
                                    /*open_existing=*/false, /*security=*/nullptr, &result));
  return result == RESULT_SUCCESS ? mutex.release() : nullptr;
}

IThread *Platform::create_thread(IThread::Routine routine, void *argument, bool /*unused*/) {
  return new (std::nothrow) Win32Thread(routine, argument);
}

IConditionVariable *Platform::create_condition_variable() {
  return new (std::nothrow) Win32ConditionVariable();
}

ISharedLibrary *Platform::create_shared_library() {
  return new (std::nothrow) Win32SharedLibrary;
}

} // namespace Ostrel
