// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/ProcessLogging.hpp"

#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingSpec.hpp"
#include "core/base/platform/Platform.hpp"

#include <atomic>
#include <cctype>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <string>

namespace Ostrel {

namespace {

constexpr int LONGEST_WAIT_MS = 1000;
constexpr std::size_t ARENA_BYTES = 1024UL * 1024; // some 7,000 categories

std::once_flag set_up_once;
std::atomic<LoggingHierarchy *> current{nullptr};
unsigned long owner_process_id = 0; // the process that made the hierarchy; a fork copies it

// The categories' memory is part of the library's image. So a category can outlive the hierarchy
// for as long as code of the library can be reached at all, and is gone with it.
alignas(std::max_align_t) unsigned char arena[ARENA_BYTES];
std::atomic<std::size_t> arena_used{0};

// What the arena has no room for. Held from here so that it counts as in use, not as lost.
struct alignas(std::max_align_t) FurtherMemory {
  FurtherMemory *next;
};

std::atomic<FurtherMemory *> further_memory{nullptr};

void *allocate_further(std::size_t size) {
  void *const memory = ::operator new(sizeof(FurtherMemory) + size, std::nothrow);
  if (memory == nullptr) {
    return nullptr;
  }
  auto *const first = new (memory) FurtherMemory{further_memory.load(std::memory_order_relaxed)};
  while (!further_memory.compare_exchange_weak(first->next, first, std::memory_order_relaxed)) {
  }
  return first + 1;
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

// From the load on, so that the teardown comes after all that the program registers for its end.
[[maybe_unused]] Teardown &built_at_load = teardown();

constexpr std::size_t aligned(std::size_t size) {
  constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
  return (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

bool read_first_set(char const *name, char const *fallback_name, std::string *value) {
  return Platform::get_environment_variable(name, value) ||
         Platform::get_environment_variable(fallback_name, value);
}

void configure_output(LoggingCategory &category) {
  std::string path;
  if (!read_first_set("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT", &path)) {
    return;
  }
  auto *const output = new (std::nothrow) FileLoggingOutput(path.c_str());
  if (output != nullptr) {
    category.set_logging_output(output);
  }
}

void configure_category(LoggingHierarchy &hierarchy, LoggingSpec::Entry const &entry) {
  LoggingCategory *const category =
      ProcessLogging::find_category(hierarchy, std::string(entry.category).c_str());
  if (category == nullptr) {
    return;
  }
  category->set_priority(LoggingSpec::priority_from_name(entry.priority));
  configure_output(*category);
}

void configure_from_environment(LoggingHierarchy &hierarchy) try {
  std::string text;
  if (!read_first_set("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY", &text)) {
    return;
  }
  LoggingSpec::Entry entry = LoggingSpec::read_entry(text, 0);
  while (!entry.category.empty()) {
    configure_category(hierarchy, entry);
    entry = LoggingSpec::read_entry(text, entry.next);
  }
} catch (std::bad_alloc const &) {
  return; // what could be configured is
}

} // namespace

std::atomic<int> LoggingVisit::_visitors{0};

bool LoggingVisit::wait_for_all() noexcept {
  for (int waited_ms = 0; is_any(); ++waited_ms) {
    if (waited_ms == LONGEST_WAIT_MS) {
      return false;
    }
    Platform::millisecond_sleep(1);
  }
  return true;
}

LoggingVisit ProcessLogging::visit() {
  std::call_once(set_up_once, set_up);
  return LoggingVisit(current);
}

// Reaches the categories through the hierarchy at hand: the once-only guard is held.
void ProcessLogging::set_up() {
  std::unique_ptr<LoggingHierarchy> hierarchy(
      new (std::nothrow) LoggingHierarchy(LoggingHierarchy::Lifetime::PROCESS));
  if (hierarchy == nullptr) {
    constexpr char FAILURE[] = "WARN: Failed to set up logging.\n";
    Platform::write_standard_error(FAILURE, sizeof FAILURE - 1);
    return;
  }
  configure_from_environment(*hierarchy);
  owner_process_id = Platform::get_current_process_id();
  current.store(hierarchy.release());
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

LoggingCategory &ProcessLogging::discarding_category() {
  // Never destroyed: callers may come at any time, and it owns nothing.
  alignas(LoggingCategory) static unsigned char storage[sizeof(LoggingCategory)];
  static LoggingCategory *const instance =
      new (storage) LoggingCategory("", nullptr, LoggingPriority::DISABLED, nullptr);
  return *instance;
}

void *ProcessLogging::allocate_for_ever(std::size_t size) {
  std::size_t const needed = aligned(size);
  std::size_t used = arena_used.load(std::memory_order_relaxed);
  while (needed <= ARENA_BYTES - used) {
    if (arena_used.compare_exchange_weak(used, used + needed, std::memory_order_relaxed)) {
      return arena + used;
    }
  }
  return allocate_further(size);
}

void ProcessLogging::tear_down() {
  // Waits for a set-up that is under way, and lets none begin any more.
  std::call_once(set_up_once, [] {});
  LoggingHierarchy *const hierarchy = current.exchange(nullptr);
  if (hierarchy == nullptr) {
    return;
  }
  bool const is_forked = owner_process_id != Platform::get_current_process_id();
  if (is_forked && LoggingVisit::is_any()) {
    return;
  }
  hierarchy->silence();
  if (LoggingVisit::wait_for_all()) {
    delete hierarchy;
  }
}

} // namespace Ostrel
