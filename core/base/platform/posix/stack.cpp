// SPDX-License-Identifier: Apache-2.0
// Whether an interrupted thread can be ended where it is, judged by its stack.
//
// A thread inside the C library, the loader, libxml2 or this library may hold a lock (the
// allocator's, a stream's) that is never released if the thread ends there. So no frame of these
// may be on its stack. Excepted are the innermost call, if it is one of the C library that holds
// nothing while it waits, and around it an operation of this library that is marked as a
// termination point.
//
// The unwinder finds its tables through `_dl_find_object`, which takes no lock. It is used once at
// load, so that a handler does not set it up. Addresses are looked up at load as well: later, the
// thread that is to be ended may hold the loader's lock.
#include "core/base/platform/posix/stack.hpp"

#include <algorithm>
#include <array>

#include <dlfcn.h>
#include <gnu/lib-names.h>
#include <link.h>
#include <unwind.h>

// The limits of the section of OSTBASE_TERMINATION_POINT, from the linker.
extern "C" __attribute__((visibility("hidden"))) char const __start_ostbase_termination_point[];
extern "C" __attribute__((visibility("hidden"))) char const __stop_ostbase_termination_point[];

// Present if the process runs under that sanitizer.
extern "C" __attribute__((weak)) void __asan_init();
extern "C" __attribute__((weak)) void __tsan_init();

namespace Ostrel {

namespace {

// No wait for a lock, a semaphore or a condition: a thread that has just been woken for it must
// acquire it, or the other waiters sleep on.
constexpr std::array WAITING_CALLS = {
    "accept", "accept4",   "clock_nanosleep", "connect",     "epoll_pwait", "epoll_wait",  "fcntl",
    "flock",  "nanosleep", "pause",           "poll",        "ppoll",       "pselect",     "read",
    "readv",  "recv",      "recvfrom",        "recvmsg",     "recvmmsg",    "sched_yield", "select",
    "send",   "sendmsg",   "sendto",          "sigwait",     "sleep",       "usleep",      "wait4",
    "waitid", "write",     "writev",          "sigtimedwait"};

link_map const *object_of(void *address) noexcept {
  dl_find_object found = {};
  return _dl_find_object(address, &found) == 0 ? found.dlfo_link_map : nullptr;
}

// Null also for what is linked into the program, which counts as the program.
link_map const *library_of(void *address) noexcept {
  link_map const *const object = address != nullptr ? object_of(address) : nullptr;
  return object != nullptr && object->l_name[0] != '\0' ? object : nullptr;
}

// All of it is null without memory at load.
struct Libraries {
  Libraries() noexcept;

  link_map const *c_library = nullptr, *this_library = nullptr;
  std::array<link_map const *, 4> unsafe{}; // no frame of these may be on the stack
  std::array<void *, WAITING_CALLS.size()> waiting_calls{};
  void *system_call = nullptr; // `syscall`, in which this library sleeps
};

// Leaves no error of the loader behind.
Libraries::Libraries() noexcept {
  if (void *const handle = dlopen(LIBC_SO, RTLD_LAZY | RTLD_NOLOAD); handle != nullptr) {
    system_call = dlsym(handle, "syscall");
    c_library = library_of(system_call);
    this_library = library_of(reinterpret_cast<void *>(can_inspect_stack));
    link_map const *const allocator = library_of(dlsym(RTLD_DEFAULT, "malloc"));
    unsafe = {library_of(dlsym(handle, "__tls_get_addr")), // of the loader
              library_of(dlsym(RTLD_DEFAULT, "_Unwind_Backtrace")),
              library_of(dlsym(RTLD_DEFAULT, "xmlFreeDoc")),
              allocator != c_library ? allocator : nullptr};
    std::transform(WAITING_CALLS.begin(), WAITING_CALLS.end(), waiting_calls.begin(),
                   [handle](char const *name) { return dlsym(handle, name); });
    dlclose(handle);
  }
  dlerror();
  is_safe_to_end(nullptr, false); // meets no interrupted frame, and so does not look up this object
}

Libraries const &libraries() noexcept {
  static Libraries const known;
  return known;
}

[[maybe_unused]] Libraries const &built_at_load = libraries();

// A look from the interrupted frame outwards. Frames of one object that follow each other are
// judged together, by the outermost: it was called from elsewhere.
struct Look {
  void const *base;
  bool is_in_wait;
  bool is_begun = false, is_innermost = true, is_safe = false;
  link_map const *object = nullptr;
  void *function = nullptr;
  char const *place = nullptr;
};

// `syscall` counts in a wait of this library only: a program may build locks with it.
bool is_harmless(Look const &look) noexcept {
  Libraries const &known = libraries();
  auto const &calls = known.waiting_calls;
  if (look.object == known.c_library) {
    return look.is_innermost && look.function != nullptr &&
           (look.function == known.system_call
                ? look.is_in_wait
                : std::find(calls.begin(), calls.end(), look.function) != calls.end());
  }
  return look.object != known.this_library || (look.is_in_wait && !look.is_innermost &&
                                               look.place >= __start_ostbase_termination_point &&
                                               look.place < __stop_ostbase_termination_point);
}

_Unwind_Reason_Code step(_Unwind_Context *frame, void *argument) noexcept {
  Look &look = *static_cast<Look *>(argument);
  int is_interrupted = 0;
  // NOLINTBEGIN(performance-no-int-to-ptr): the unwinder returns numbers.
  auto *place = reinterpret_cast<char *>(_Unwind_GetIPInfo(frame, &is_interrupted));
  auto *const function = reinterpret_cast<void *>(_Unwind_GetRegionStart(frame));
  // NOLINTEND(performance-no-int-to-ptr)
  if (!look.is_begun && is_interrupted == 0) {
    return _URC_NO_REASON; // the handler's own frames
  }
  if (function == look.base) {
    look.is_safe = look.is_begun && is_harmless(look);
    return _URC_NORMAL_STOP;
  }
  // A call that does not return may end its function: the next instruction belongs to another one.
  place -= is_interrupted != 0 ? 0 : 1;
  link_map const *const object = object_of(place);
  bool const is_next_object = look.is_begun && object != look.object;
  auto const &unsafe = libraries().unsafe;
  if (object == nullptr || std::find(unsafe.begin(), unsafe.end(), object) != unsafe.end() ||
      (is_next_object && !is_harmless(look))) {
    return _URC_NORMAL_STOP;
  }
  look = {
      look.base,         look.is_in_wait, /*is_begun=*/true, look.is_innermost && !is_next_object,
      /*is_safe=*/false, object,          function,          place};
  return _URC_NO_REASON;
}

} // namespace

bool can_inspect_stack() noexcept {
  return libraries().c_library != nullptr && __asan_init == nullptr && __tsan_init == nullptr;
}

bool is_safe_to_end(void const *base, bool is_in_wait) noexcept {
  Look look = {base, is_in_wait};
  _Unwind_Backtrace(step, &look);
  return look.is_safe;
}

} // namespace Ostrel
