// SPDX-License-Identifier: Apache-2.0
// Calls the C library's allocator by the second names that it has for replacements of `malloc`.
#include "torture/support/FailingMalloc.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *memory);
}

namespace FailingMalloc {

namespace {

// The calls that led to an allocation.
struct Stack {
  void *frames[64];
  int depth = 0;
};

struct Plan {
  Failures failures = Failures::NONE;
  unsigned long left = 0; // allocations before the one that fails
  unsigned long strained = 0;
  unsigned long failed = 0;
  int blocks = 0;          // nested `Strained` blocks
  bool is_looking = false; // at the stack, which may allocate
  Stack first_failure;
};

thread_local Plan plan_of_thread __attribute__((tls_model("initial-exec")));
std::atomic<long> held_blocks{0};

// From the start of the program to its own constructors.
bool is_loading = true;
bool is_planned = false; // for that period
unsigned long failed_while_loading = 0;
unsigned long strained_while_loading = 0;

void look(Stack *stack) {
  plan_of_thread.is_looking = true;
  stack->depth = backtrace(stack->frames, static_cast<int>(std::size(stack->frames)));
  plan_of_thread.is_looking = false;
}

// Whether one of the calls is in a function or a library whose name contains the text.
bool is_through(Stack const &stack, char const *function, char const *library) {
  return std::any_of(stack.frames, stack.frames + stack.depth, [=](void *frame) {
    Dl_info where = {};
    bool const is_known = dladdr(frame, &where) != 0;
    return is_known && std::strstr(where.dli_fname, library) != nullptr &&
           (*function == '\0' ||
            (where.dli_sname != nullptr && std::strcmp(where.dli_sname, function) == 0));
  });
}

// Not by `getenv`: the first allocations precede the initialisation of the environment.
void read_plan_at_load() {
  if (is_planned || environ == nullptr) {
    return;
  }
  char const *const text = std::getenv(AT_LOAD);
  is_planned = text != nullptr;
  if (is_planned) {
    bool const is_one = std::strncmp(text, "ONE", 3) == 0;
    bool const is_all = std::strncmp(text, "ALL", 3) == 0;
    plan(is_one   ? Failures::ONE
         : is_all ? Failures::ALL
                  : Failures::NONE,
         std::strtoul(std::strchr(text, ' '), nullptr, 10));
  }
}

bool is_strained(Plan const &now) {
  if (now.is_looking) {
    return false;
  }
  if (!is_loading) {
    return now.blocks > 0;
  }
  read_plan_at_load();
  if (!is_planned) {
    return false;
  }
  Stack stack;
  look(&stack);
  return is_through(stack, "", "libostbase");
}

// Whether the current allocation fails.
bool is_due() {
  Plan &now = plan_of_thread;
  if (!is_strained(now)) {
    return false;
  }
  ++now.strained;
  if (now.failures == Failures::NONE || now.left > 0) {
    now.left -= now.left > 0 ? 1 : 0;
    return false;
  }
  now.failures = now.failures == Failures::ONE ? Failures::NONE : Failures::ALL;
  if (now.failed++ == 0) {
    look(&now.first_failure);
  }
  errno = ENOMEM;
  return true;
}

void *counted(void *memory) {
  held_blocks += memory != nullptr ? 1 : 0;
  return memory;
}

// Runs before any other constructor of the program, and after those of its libraries.
constexpr int FIRST = 101;
__attribute__((constructor(FIRST))) void end_load() {
  is_loading = false;
  failed_while_loading = plan_of_thread.failed;
  strained_while_loading = std::exchange(plan_of_thread.strained, 0);
  plan(Failures::NONE, 0);
  Stack stack;
  look(&stack); // the first look allocates
}

} // namespace

void plan(Failures failures, unsigned long count) {
  plan_of_thread.failures = failures;
  plan_of_thread.left = count;
}

unsigned long failed() {
  return plan_of_thread.failed;
}

bool has_failed_first_in(char const *function) {
  return is_through(plan_of_thread.first_failure, function, "");
}

void show_first_failure(int descriptor) {
  Stack const &stack = plan_of_thread.first_failure;
  backtrace_symbols_fd(stack.frames, stack.depth, descriptor);
}

unsigned long strained() {
  return plan_of_thread.strained;
}

unsigned long failed_at_load() {
  return failed_while_loading;
}

unsigned long strained_at_load() {
  return strained_while_loading;
}

long held() {
  return held_blocks;
}

Strained::Strained() {
  ++plan_of_thread.blocks;
}

Strained::~Strained() {
  --plan_of_thread.blocks;
}

} // namespace FailingMalloc

using FailingMalloc::counted;
using FailingMalloc::is_due;

// The parameters have the C library's names.
extern "C" {

void *malloc(std::size_t size) noexcept {
  return is_due() ? nullptr : counted(__libc_malloc(size));
}

void *calloc(std::size_t nmemb, std::size_t size) noexcept {
  return is_due() ? nullptr : counted(__libc_calloc(nmemb, size));
}

void *realloc(void *ptr, std::size_t size) noexcept {
  if (ptr == nullptr) {
    return malloc(size);
  }
  if (size == 0) {
    free(ptr);
    return nullptr;
  }
  return is_due() ? nullptr : __libc_realloc(ptr, size);
}

void free(void *ptr) noexcept {
  FailingMalloc::held_blocks -= ptr != nullptr ? 1 : 0;
  __libc_free(ptr);
}

void *memalign(std::size_t alignment, std::size_t size) noexcept {
  return is_due() ? nullptr : counted(__libc_memalign(alignment, size));
}

void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}

int posix_memalign(void **memptr, std::size_t alignment, std::size_t size) noexcept {
  *memptr = memalign(alignment, size);
  return *memptr != nullptr ? 0 : ENOMEM;
}
}
