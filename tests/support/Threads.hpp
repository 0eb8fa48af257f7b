// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/support/Files.hpp"

#include <string>
#include <thread>
#include <vector>

/// Runs `body(0)` to `body(count - 1)` in one thread each and joins them.
template <typename Body> void in_threads(int count, Body const &body) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    threads.emplace_back([&body, index] { body(index); });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
}

/// Whether a thread, or the first thread of a process, sleeps in a system call. Always false on
/// Windows, where this is not visible.
inline bool is_asleep(unsigned long id) {
  return read_file("/proc/" + std::to_string(id) + "/stat").find(") S ") != std::string::npos;
}
