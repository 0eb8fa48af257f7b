// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/ILoggingLayout.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

// Keeps the thread for ever.
class EndlessLayout : public ILoggingLayout {
public:
  std::string format(LoggingEvent const &) override {
    for (is_inside = true;;) {
      pause();
    }
  }
  static inline std::atomic<bool> is_inside{false};
};

// Gives the end of a child of a process of which another thread stays in a layout.
Role const forked("forked", [](Role::Arguments const &) -> int {
  std::thread([] {
    LoggingCategory &root = LoggingCategory::get_root_category();
    root.set_logging_output(new LoggingOutputImpl(new EndlessLayout));
    root.fatal("the end");
  }).detach();
  while (!EndlessLayout::is_inside) {
    std::this_thread::yield();
  }
  for (int i = 0; i < 5; ++i) { // a loaded machine may need more than one
    auto const start = std::chrono::steady_clock::now();
    if (fork() == 0) {
      std::exit(0);
    }
    wait(nullptr);
    if (std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) {
      _exit(0);
    }
  }
  _exit(1);
});

TEST(LoggingTeardown, AForkedChildEndsWithoutTheOtherThreads) {
  // The thread sanitizer's own wait at the end is a second.
  ChildResult const result = run_child("forked", {}, {{"TSAN_OPTIONS", "atexit_sleep_ms=0"}});
  EXPECT_EQ(result.status, 0) << result.err;
}

} // namespace
