// SPDX-License-Identifier: Apache-2.0
// The plug-in that torture_reload loads: it is linked to the library, and uses it until its own
// unload.
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/System.hpp"

#include <atomic>
#include <memory>

#include <sched.h>

using namespace Ostrel;

namespace {

// Destroyed when the plug-in is unloaded, possibly together with the library.
struct LogsToTheEnd {
  ~LogsToTheEnd() {
    LoggingCategory::get_instance("reload.end").warn("still here");
    UserConfig::set_user_config("UserConfig/End/Reached", "yes", /*commit=*/false);
  }
};

LogsToTheEnd const logs_to_the_end;

unsigned int work(void *mutex) {
  auto &held = *static_cast<IMutex *>(mutex);
  LoggingCategory::get_instance("reload.thread").warn("in a thread");
  held.acquire();
  held.release();
  return 0;
}

unsigned int compute(void *is_running) {
  static_cast<std::atomic<bool> *>(is_running)->store(true);
  for (;;) {
  }
}

// Ends a thread by force. Starts none if `stop` could not end it before the plug-in is unloaded.
bool stop_thread() {
  if (!CAN_END_THREADS) {
    return true;
  }
  std::atomic<bool> is_running{false};
  std::unique_ptr<IThread> const thread(Platform::create_thread(compute, &is_running, false));
  if (!thread->start()) {
    return false;
  }
  while (!is_running) {
    sched_yield();
  }
  return thread->stop() && thread->wait_for_exit(OVRA_INFINITE);
}

} // namespace

// Whether a thread that logs, a thread that is ended by force, and a named mutex work.
extern "C" OSTBASE_API bool use_library(char const *mutex_name);

bool use_library(char const *mutex_name) {
  unsigned long result = RESULT_FAILURE;
  Win32Mutex mutex(false, mutex_name, false, nullptr, &result);
  std::unique_ptr<IThread> const thread(Platform::create_thread(work, &mutex, false));
  return result == RESULT_SUCCESS && mutex.acquire() && mutex.release() && thread->start() &&
         thread->wait_for_exit(OVRA_INFINITE) && mutex.acquire() && mutex.release() &&
         stop_thread();
}

// Whether a source works.
extern "C" OSTBASE_API bool make_source();

bool make_source() {
  XmlConfigSource source;
  return source.set_search_path(".") == RESULT_SUCCESS;
}
