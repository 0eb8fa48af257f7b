// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/ProcessLogging.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingSpec.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/ForkLocks.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <atomic>
#include <cctype>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace Ostrel {

namespace {

constexpr int LONGEST_WAIT_MS = 1000;
constexpr std::size_t ARENA_BYTES = 1024UL * 1024; // some 7,000 categories

std::atomic<LoggingHierarchy *> current{nullptr};
std::atomic<bool> is_over{false};   // the teardown has begun
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

// Of a set-up that failed, after which nobody has a category.
void give_back_category_memory() {
  arena_used = 0;
  FurtherMemory *memory = further_memory.exchange(nullptr);
  while (memory != nullptr) {
    ::operator delete(std::exchange(memory, memory->next));
  }
}

// The process of which a thread is setting up; 0 for none. No mutex: a fork would copy one that is
// held, and nobody would give it back in the child.
std::atomic<unsigned long> setting_up{0};

// Whether that is the calling thread. Not made at the first use, when there may be no memory.
thread_local bool is_setting_up __attribute__((tls_model("initial-exec"))) = false;

// Keeps other threads from setting up until the end of a block. Not had by a thread that is setting
// up already: somebody's allocator that logs, or that ends the process, is called inside.
class SetUpTurn {
public:
  explicit SetUpTurn(unsigned long longest_wait_ms) {
    if (is_setting_up) {
      return;
    }
    unsigned long const process_id = Platform::get_current_process_id();
    is_held_ = take(process_id);
    for (unsigned long waited_ms = 0; !is_held_ && waited_ms < longest_wait_ms; ++waited_ms) {
      Platform::millisecond_sleep(1);
      is_held_ = take(process_id);
    }
    is_setting_up = is_held_;
  }
  SetUpTurn(SetUpTurn const &) = delete;
  SetUpTurn &operator=(SetUpTurn const &) = delete;
  ~SetUpTurn() {
    if (is_held_) {
      is_setting_up = false;
      setting_up.store(0);
    }
  }

  explicit operator bool() const noexcept { return is_held_; }

private:
  // Takes it from a thread of another process as well: the fork left that one behind.
  static bool take(unsigned long process_id) {
    unsigned long other = 0;
    bool is_taken = setting_up.compare_exchange_strong(other, process_id);
    while (!is_taken && other != process_id) {
      is_taken = setting_up.compare_exchange_strong(other, process_id);
    }
    return is_taken;
  }

  bool is_held_ = false;
};

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

// From the load on, so that no thread is inside its making while another one forks.
[[maybe_unused]] LoggingCategory &made_at_load = ProcessLogging::discarding_category();

constexpr std::size_t aligned(std::size_t size) {
  constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
  return (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

// Throws std::bad_alloc without memory, which must not be taken for a variable that is not set.
bool read_first_set(char const *name, char const *fallback_name, std::string *value) {
  return read_environment(name, value) || read_environment(fallback_name, value);
}

// Once, however long there is no memory.
void report_failure() {
  static std::atomic<bool> is_reported{false};
  constexpr char FAILURE[] = "WARN: Failed to set up logging.\n";
  if (!is_reported.exchange(true)) {
    Platform::write_standard_error(FAILURE, sizeof FAILURE - 1);
  }
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
  if (current.load() == nullptr && !is_over) {
    set_up();
  }
  return LoggingVisit(current);
}

bool ProcessLogging::may_pass(LoggingCategory const &category,
                              LoggingPriority::PriorityLevel level) noexcept {
  return category.may_pass(level);
}

// All or nothing: where something lacks memory, all of it is given back, and the next call tries
// again. Reaches the categories through the hierarchy at hand, since it has the turn.
void ProcessLogging::set_up() {
  SetUpTurn const turn(OVRA_INFINITE);
  if (!turn || current.load() != nullptr || is_over) {
    return;
  }
  LoggingVisit::forget_all(); // of the parent's set-up, which a fork may have left behind
  std::unique_ptr<LoggingHierarchy> hierarchy = make_configured();
  if (hierarchy == nullptr) {
    give_back_category_memory();
    report_failure();
    return;
  }
  owner_process_id = Platform::get_current_process_id();
  static constexpr ForkLocks::Lock FORK_LOCK = {take_mutex};
  ForkLocks::add(ForkLocks::HIERARCHY, FORK_LOCK); // before others can hold it
  current.store(hierarchy.release());
}

// The teardown waits for the mutex before it deletes anything.
IAcquirable *ProcessLogging::take_mutex() {
  LoggingVisit const visit(current);
  LoggingHierarchy const *const hierarchy = visit.hierarchy();
  return ForkLocks::acquire(hierarchy == nullptr ? nullptr : hierarchy->mutex_.get());
}

std::unique_ptr<LoggingHierarchy> ProcessLogging::make_configured() try {
  std::unique_ptr<LoggingHierarchy> hierarchy(
      new LoggingHierarchy(LoggingHierarchy::Lifetime::PROCESS));
  bool const is_done = hierarchy->is_whole() && configure_from_environment(*hierarchy);
  return is_done ? std::move(hierarchy) : nullptr;
} catch (std::bad_alloc const &) {
  return nullptr;
}

// These are false, or throw std::bad_alloc, without memory.

bool ProcessLogging::configure_from_environment(LoggingHierarchy &hierarchy) {
  std::string text;
  if (!read_first_set("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY", &text)) {
    return true;
  }
  bool is_done = true;
  LoggingSpec::Entry entry = LoggingSpec::read_entry(text, 0);
  while (is_done && !entry.category.empty()) {
    LoggingCategory *const category = find_category(hierarchy, std::string(entry.category).c_str());
    is_done = category != nullptr &&
              configure(*category, LoggingSpec::priority_from_name(entry.priority));
    entry = LoggingSpec::read_entry(text, entry.next);
  }
  return is_done;
}

bool ProcessLogging::configure(LoggingCategory &category, LoggingPriority::PriorityLevel priority) {
  category.set_priority(priority);
  std::string path;
  if (!read_first_set("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT", &path)) {
    return true;
  }
  auto output = std::make_unique<FileLoggingOutput>(path.c_str());
  bool const is_whole = output->is_whole();
  category.set_logging_output(output.release());
  return is_whole;
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
  is_over = true;
  bool const is_after_the_last_set_up{SetUpTurn(LONGEST_WAIT_MS)};
  if (!is_after_the_last_set_up) {
    return;
  }
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
