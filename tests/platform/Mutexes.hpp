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

/// A name that no other run uses.
inline std::string unique(std::string const &name) {
  return name + " of " + std::to_string(Ostrel::Platform::get_current_process_id());
}

inline void in_other_thread(std::function<void()> const &work) {
  std::thread(work).join();
}

/// Whether it is free, asked by a thread that does not own it. An abandoned one becomes so.
inline bool is_free(Ostrel::IAcquirable &mutex) {
  bool result = false;
  in_other_thread([&] { result = (mutex.acquire() || mutex.acquire()) && mutex.release(); });
  return result;
}

/// Whether this thread gets the mutex and has given it back after one release.
inline bool is_taken_once(Ostrel::IMutex &mutex) {
  return mutex.acquire() && mutex.release() && !mutex.release();
}

inline std::unique_ptr<Ostrel::IConditionVariable> make_condition() {
  return std::unique_ptr<Ostrel::IConditionVariable>(Ostrel::Platform::create_condition_variable());
}

/// Gives what the wait of another thread comes to, once that one waits.
inline std::future<bool> start_waiter(Ostrel::IConditionVariable &condition,
                                      unsigned long timeout_ms = Ostrel::OVRA_INFINITE) {
  Event there;
  auto is_released = std::async(std::launch::async, [&there, &condition, timeout_ms] {
    Ostrel::AcquirableLock const lock(condition);
    there.set_value();
    return condition.wait(timeout_ms, false);
  });
  there.get_future().wait();
  Ostrel::AcquirableLock const until_it_waits(condition); // when it gives the mutex back
  return is_released;
}
