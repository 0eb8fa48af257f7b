// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

using Event = std::promise<void>;

inline std::unique_ptr<Ostrel::IMutex> make_mutex() {
  return std::unique_ptr<Ostrel::IMutex>(Ostrel::Platform::create_mutex(true));
}

inline std::unique_ptr<Ostrel::IMutex> open_mutex(std::string const &name, bool open_existing,
                                                  bool initially_owned = false) {
  unsigned long result = Ostrel::RESULT_FAILURE;
  auto mutex = std::make_unique<Ostrel::Win32Mutex>(initially_owned, name.c_str(), open_existing,
                                                    nullptr, &result);
  if (result == Ostrel::RESULT_SUCCESS) {
    return mutex;
  }
  EXPECT_EQ(result, Ostrel::RESULT_SYSTEM_ERROR);
  return nullptr;
}

/// A name that is unique to this process.
inline std::string unique(std::string const &name) {
  return name + " of " + std::to_string(Ostrel::Platform::get_current_process_id());
}

inline void in_other_thread(std::function<void()> const &work) {
  std::thread(work).join();
}

/// Whether a thread that does not own the mutex can acquire it. An abandoned one becomes free.
inline bool is_free(Ostrel::IAcquirable &mutex) {
  bool result = false;
  in_other_thread([&] { result = (mutex.acquire() || mutex.acquire()) && mutex.release(); });
  return result;
}

/// Whether this thread can acquire the mutex, and owns it only once.
inline bool is_taken_once(Ostrel::IMutex &mutex) {
  return mutex.acquire() && mutex.release() && !mutex.release();
}

inline std::unique_ptr<Ostrel::IConditionVariable> make_condition() {
  return std::unique_ptr<Ostrel::IConditionVariable>(Ostrel::Platform::create_condition_variable());
}

/// Starts a wait in another thread and returns its future result, once the thread waits.
inline std::future<bool> start_waiter(Ostrel::IConditionVariable &condition,
                                      unsigned long timeout_ms = Ostrel::OVRA_INFINITE) {
  Event is_waiting;
  auto is_released = std::async(std::launch::async, [&is_waiting, &condition, timeout_ms] {
    Ostrel::AcquirableLock const lock(condition);
    is_waiting.set_value();
    return condition.wait(timeout_ms, false);
  });
  is_waiting.get_future().wait();
  Ostrel::AcquirableLock const until_it_waits(condition); // the wait releases the mutex
  return is_released;
}
