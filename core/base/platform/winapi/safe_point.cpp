// SPDX-License-Identifier: Apache-2.0
// Whether an interrupted thread can be ended where it is, judged by its stack.
//
// A thread inside the C library, the loader, libxml2 or this library may hold a lock (the
// allocator's, a stream's) that is never released if it ends there. So no frame of these may be on
// its stack. Exceptions are the innermost call, if it is one of the C library that holds nothing
// while it waits, and around it an operation of this library that is marked as a termination point.
//
// The unwinder finds its tables through `_dl_find_object`, which takes no lock. It is called once
// at load, so that nothing of it is resolved or set up in a handler; addresses are looked up at
// load as well, since later a thread that is to be ended may hold the loader's lock.
#include "core/base/platform/winapi/safe_point.hpp"

#include "core/base/platform/posix/futex.hpp"
#include "core/base/platform/winapi/cancellation.hpp"

#include <algorithm>
#include <iterator>

#include <dlfcn.h>
#include <gnu/lib-names.h>
#include <link.h>
#include <unwind.h>

// The limits of the section of OSTBASE_TERMINATION_POINT, from the linker.
extern "C" __attribute__((visibility("hidden"))) char const __start_ostbase_termination_point[];
extern "C" __attribute__((visibility("hidden"))) char const __stop_ostbase_termination_point[];

namespace Ostrel {

namespace {

// What waits for a lock, a semaphore or a condition is missing: a thread that has just been woken
// for it must take it, or the other waiters sleep on.
constexpr char const *WAITING_CALLS[] = {
    "accept",       "accept4",     "clock_nanosleep", "connect", "epoll_pwait", "epoll_wait",
    "fcntl",        "flock",       "nanosleep",       "pause",   "poll",        "ppoll",
    "pselect",      "read",        "readv",           "recv",    "recvfrom",    "recvmmsg",
    "recvmsg",      "sched_yield", "select",          "send",    "sendmsg",     "sendto",
    "sigtimedwait", "sigwait",     "sleep",           "usleep",  "wait4",       "waitid",
    "write",        "writev"};

// Written at load.
void *waiting_calls[std::size(WAITING_CALLS)];
void *system_call = nullptr;
SetAction *set_action = nullptr;
link_map const *c_library, *this_library, *loader, *xml_library, *allocator, *unwinder, *sanitizer;

IN_HANDLER link_map const *object_of(void *address) noexcept {
  dl_find_object found = {};
  return _dl_find_object(address, &found) == 0 ? found.dlfo_link_map : nullptr;
}

// A look from the interrupted frame outwards. Frames of one object that follow each other are
// judged together, by the outermost: it was called from elsewhere.
struct Look {
  void const *base;
  bool is_begun = false, is_innermost = true, is_safe = false;
  link_map const *object = nullptr;
  void *function = nullptr;
  char const *place = nullptr;
};

// This library's own waits are system calls of which the sleep alone is safe: before and after it
// the thread changes what it waits for.
IN_HANDLER bool is_waiting_call(void *function) noexcept {
  if (function == system_call) {
    return word_slept_on != nullptr;
  }
  for (void *const call : waiting_calls) {
    if (call == function) {
      return call != nullptr;
    }
  }
  return false;
}

IN_HANDLER bool is_harmless(Look const &look) noexcept {
  if (look.object == c_library) {
    return look.is_innermost && is_waiting_call(look.function);
  }
  return look.object != this_library ||
         (!look.is_innermost && look.place >= __start_ostbase_termination_point &&
          look.place < __stop_ostbase_termination_point);
}

// Frames at which the look ends. The unwinder and a sanitizer are busy in their own code only,
// where a stack is not always as the unwinder expects it.
IN_HANDLER bool is_busy(link_map const *object, bool is_innermost) noexcept {
  if (object == unwinder || object == sanitizer) {
    return is_innermost;
  }
  return object == loader || object == xml_library || (object == allocator && object != c_library);
}

IN_HANDLER _Unwind_Reason_Code step(_Unwind_Context *frame, void *argument) noexcept {
  Look &look = *static_cast<Look *>(argument);
  int is_interrupted = 0;
  // NOLINTBEGIN(performance-no-int-to-ptr): the unwinder returns numbers.
  auto *place = reinterpret_cast<char *>(_Unwind_GetIPInfo(frame, &is_interrupted));
  auto *const function = reinterpret_cast<void *>(_Unwind_GetRegionStart(frame));
  // NOLINTEND(performance-no-int-to-ptr)
  if (!look.is_begun && is_interrupted == 0) {
    return _URC_NO_REASON; // the handler's own frames
  }
  if (function == look.base) { // which is busy itself
    look.is_safe = look.is_begun && is_harmless(look);
    return _URC_NORMAL_STOP;
  }
  // A call that does not return may end its function: what follows it belongs to another.
  place -= is_interrupted != 0 ? 0 : 1;
  link_map const *const object = object_of(place);
  bool const is_next_object = look.is_begun && object != look.object;
  if (object == nullptr || is_busy(object, !look.is_begun) ||
      (is_next_object && !is_harmless(look))) {
    return _URC_NORMAL_STOP;
  }
  look.is_innermost = look.is_innermost && !is_next_object;
  look.is_begun = true;
  look.object = object;
  look.function = function;
  look.place = place;
  return _URC_NO_REASON;
}

// Null also for what is linked into the program, which counts as the program.
link_map const *library_of(void *address) noexcept {
  link_map const *const object = address != nullptr ? object_of(address) : nullptr;
  return object != nullptr && object->l_name[0] != '\0' ? object : nullptr;
}

// Leaves no error of the loader behind. Nothing is known without memory.
[[maybe_unused]] bool const is_learnt = [] {
  void *const handle = dlopen(LIBC_SO, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) {
    return false;
  }
  std::transform(std::begin(WAITING_CALLS), std::end(WAITING_CALLS), waiting_calls,
                 [handle](char const *name) { return dlsym(handle, name); });
  system_call = dlsym(handle, "syscall");
  c_library = library_of(system_call);
  set_action = reinterpret_cast<SetAction *>(dlsym(handle, "sigaction"));
  loader = library_of(dlsym(handle, "__tls_get_addr")); // which the C library needs
  dlclose(handle);
  this_library = library_of(reinterpret_cast<void *>(set_action_of_c_library));
  xml_library = library_of(dlsym(RTLD_DEFAULT, "xmlFreeDoc"));
  allocator = library_of(dlsym(RTLD_DEFAULT, "malloc"));
  unwinder = library_of(dlsym(RTLD_DEFAULT, "_Unwind_Backtrace"));
  sanitizer =
      library_of(reinterpret_cast<void *>(__tsan_init != nullptr ? __tsan_init : __asan_init));
  dlerror();
  is_safe_point(nullptr);
  return true;
}();

} // namespace

SetAction *set_action_of_c_library() noexcept {
  return set_action;
}

IN_HANDLER bool is_safe_point(void const *base) noexcept {
  Look look = {base};
  _Unwind_Backtrace(step, &look);
  return look.is_safe;
}

} // namespace Ostrel
