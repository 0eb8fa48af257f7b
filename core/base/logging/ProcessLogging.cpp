// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/ProcessLogging.hpp"

#include "core/base/logging/CategoryMemory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingSetUp.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/process/NeverDestroyed.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/process/Rundown.hpp"

#include <atomic>
#include <cctype>
#include <memory>
#include <new>
#include <string>

namespace Ostrel {

namespace {

std::atomic<LoggingHierarchy *> current{nullptr}; // set under ProcessMutex::LOGGING
bool is_setting_up OSTBASE_GUARDED_BY(ProcessMutex::of(ProcessMutex::LOGGING)) = false;

// In a child that was forked during the set-up by another thread.
void forget_set_up() noexcept OSTBASE_REQUIRES(ProcessMutex::of(ProcessMutex::LOGGING)) {
  is_setting_up = false;
}

class Teardown {
public:
  Teardown() = default;
  Teardown(Teardown const &) = delete;
  Teardown &operator=(Teardown const &) = delete;
  ~Teardown() { ProcessLogging::tear_down(); }
};

Teardown &teardown() {
  static Teardown instance;
  return instance;
}

// Constructed at load, so that the teardown runs after the program's own exit handlers.
[[maybe_unused]] Teardown &built_at_load = teardown();

// Constructed at load, so that no thread constructs it while another one forks.
[[maybe_unused]] LoggingCategory &made_at_load = ProcessLogging::discarding_category();

// Reports only the first failure.
void report_failure() {
  static std::atomic<bool> is_reported{false};
  constexpr char FAILURE[] = "WARN: Failed to set up logging.\n";
  if (!is_reported.exchange(true)) {
    Platform::write_standard_error(FAILURE, sizeof FAILURE - 1);
  }
}

} // namespace

// Acquire: the caller reads what the set-up created.
LoggingHierarchy *ProcessLogging::hierarchy() {
  if (current.load(std::memory_order_acquire) == nullptr) {
    set_up();
  }
  return current.load(std::memory_order_acquire);
}

std::unique_ptr<LoggingHierarchy> ProcessLogging::make_configured() try {
  std::unique_ptr<LoggingHierarchy> hierarchy(
      new LoggingHierarchy(LoggingHierarchy::Lifetime::PROCESS));
  bool const is_done = hierarchy->is_complete() && LoggingSetUp::configure(*hierarchy);
  return is_done ? std::move(hierarchy) : nullptr;
} catch (std::bad_alloc const &) {
  return nullptr;
}

// If out of memory, frees everything; the next call retries.
void ProcessLogging::set_up() {
  ProcessLock const lock(ProcessMutex::LOGGING);
  if (is_setting_up || current.load() != nullptr) {
    return;
  }
  AtFork::set_child_step(AtFork::LOGGING, forget_set_up);
  is_setting_up = true;
  std::unique_ptr<LoggingHierarchy> hierarchy = make_configured();
  if (hierarchy == nullptr) {
    CategoryMemory::free_all();
    report_failure();
  }
  current.store(hierarchy.release());
  is_setting_up = false;
}

bool ProcessLogging::may_pass(LoggingCategory const &category,
                              LoggingPriority::PriorityLevel level) noexcept {
  return category.may_pass(level);
}

LoggingCategory *ProcessLogging::find_category(LoggingHierarchy &hierarchy, char const *name) try {
  std::string folded = name == nullptr ? "" : name;
  for (char &character : folded) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return hierarchy.get_instance(folded);
} catch (std::bad_alloc const &) {
  return nullptr;
}

struct ProcessLogging::Discarding {
  LoggingCategory category{"", nullptr, LoggingPriority::DISABLED, nullptr};
};

LoggingCategory &ProcessLogging::discarding_category() {
  static NeverDestroyed<Discarding> instance;
  return (*instance).category;
}

void ProcessLogging::tear_down() {
  if (Rundown::close(Rundown::LOGGING)) {
    delete current.exchange(nullptr);
  }
}

} // namespace Ostrel
