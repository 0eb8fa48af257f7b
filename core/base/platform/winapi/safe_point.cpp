// SPDX-License-Identifier: Apache-2.0
// Whether an interrupted thread can be ended where it is, by a look at its stack.
//
// Whoever is inside the C library, the loader or libxml2 may hold one of their locks (the
// allocator's, a stream's), which nobody would ever give back; so may who is inside this library.
// The stack tells: each run of frames in one of them began with a call from elsewhere. Most such
// calls have to be waited for. Some hold nothing while they wait in the kernel: a sleep, a read, a
// wait for the program's own lock. These are known by the function that was called, and the kernel
// must really not have done the work yet: a wake-up that was received would be lost to everybody.
//
// A program that is in such calls nearly all the time is hardly ever met outside them: in 20,000
// looks at a loop over `fflush` not once. So where the call was made by the program itself, its
// return is redirected, until the next look: the call may have come to a wait since, and stay
// there.
//
// The unwinder takes no lock: it finds its tables through the loader's index, which is made for
// signal handlers. It is called once beforehand, so that nothing is resolved or set up late.
//
// What is known is what was there when this library was loaded: a run-time library that comes later
// (another compiler's, with a plug-in) counts as part of the program.
#include "core/base/platform/winapi/safe_point.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>

#include <dlfcn.h>
#include <gnu/lib-names.h>
#include <link.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unwind.h>

// The limits of the section of OSTBASE_WAITS, from the linker.
extern "C" {
extern char const __start_ostbase_waits[] __attribute__((visibility("hidden")));
extern char const __stop_ostbase_waits[] __attribute__((visibility("hidden")));
// For the instructions below, which need a name.
__attribute__((visibility("hidden"), used)) void (*ostbase_after_call)() = nullptr;
}

namespace Ostrel {

namespace {

using Address = std::uintptr_t;

// --- The libraries ----------------------------------------------------------------------------

enum class Kind {
  FOREIGN,   // the program and all other libraries: what they hold is their own
  RUNTIME,   // the compiler's libraries: busy while their own code runs, not while it calls
  C_LIBRARY, // where a few calls hold nothing
  BUSY,      // libxml2
  LOADER,    // likewise, and never looked into: the unwinder may need it
  OURS,
};

struct Module {
  char const *name; // with which its file's name begins
  Kind kind;
};

constexpr Module MODULES[] = {
    {LIBC_SO, Kind::C_LIBRARY},  {LD_SO, Kind::LOADER},        {"libpthread", Kind::C_LIBRARY},
    {"libxml2", Kind::BUSY},     {"libstdc++", Kind::RUNTIME}, {"libc++", Kind::RUNTIME},
    {"libgcc_s", Kind::RUNTIME}, {"libunwind", Kind::RUNTIME}, {"libasan", Kind::RUNTIME},
    {"libtsan", Kind::RUNTIME},  {"liblsan", Kind::RUNTIME},   {"libubsan", Kind::RUNTIME},
};

struct Range {
  Address begin, end;
  Kind kind;
};

constexpr std::size_t MOST_RANGES = 32;

// Calls that hold nothing while they wait in the kernel.
constexpr char const *WAITING_CALLS[] = {
    "accept",
    "accept4",
    "clock_nanosleep",
    "close",
    "connect",
    "creat",
    "creat64",
    "epoll_pwait",
    "epoll_wait",
    "eventfd_read",
    "eventfd_write",
    "fcntl",
    "fcntl64",
    "fdatasync",
    "flock",
    "fsync",
    "ioctl",
    "lockf",
    "mq_timedreceive",
    "mq_timedsend",
    "msgrcv",
    "msgsnd",
    "nanosleep",
    "open",
    "open64",
    "openat",
    "openat64",
    "pause",
    "poll",
    "ppoll",
    "pread64",
    "preadv64",
    "preadv64v2",
    "pselect",
    "pthread_cond_clockwait",
    "pthread_cond_timedwait",
    "pthread_cond_wait",
    "pthread_mutex_lock",
    "pthread_mutex_clocklock",
    "pthread_mutex_timedlock",
    "pthread_barrier_wait",
    "pthread_rwlock_rdlock",
    "pthread_rwlock_wrlock",
    "pwrite64",
    "pwritev64",
    "pwritev64v2",
    "read",
    "readv",
    "recv",
    "recvfrom",
    "recvmmsg",
    "recvmsg",
    "sched_yield",
    "select",
    "semop",
    "semtimedop",
    "send",
    "sendfile64",
    "sendmmsg",
    "sendmsg",
    "sendto",
    "sigsuspend",
    "sigtimedwait",
    "sigwait",
    "sleep",
    "splice",
    "tcdrain",
    "tee",
    "usleep",
    "vmsplice",
    "wait4",
    "waitid",
    "write",
    "writev",
};

// Calls that hold nothing while others run that they call: the program's, or the kernel's clock.
constexpr char const *CALLING_BACK[] = {"bsearch", "clock_gettime", "gettimeofday", "lfind",
                                        "qsort",   "qsort_r",       "time"};

// Calls that wait for the program's own lock without the kernel.
constexpr char const *SPINNING[] = {"pthread_spin_lock"};

// Calls that come back in another process, on another stack, or not at all.
constexpr char const *COMING_BACK_ELSEWHERE[] = {
    "_Fork",      "clone",        "daemon",     "fork",  "forkpty",
    "getcontext", "pthread_exit", "setcontext", "vfork", "swapcontext"};

// What the program may have in place of the C library's. In a library of its own all is known.
constexpr char const *ALLOCATORS[] = {"malloc",
                                      "calloc",
                                      "realloc",
                                      "reallocarray",
                                      "free",
                                      "aligned_alloc",
                                      "memalign",
                                      "posix_memalign",
                                      "valloc",
                                      "pvalloc",
                                      "_Znwm",
                                      "_Znam",
                                      "_ZnwmRKSt9nothrow_t",
                                      "_ZnamRKSt9nothrow_t",
                                      "_ZnwmSt11align_val_t",
                                      "_ZnamSt11align_val_t",
                                      "_ZdlPv",
                                      "_ZdaPv",
                                      "_ZdlPvm",
                                      "_ZdaPvm",
                                      "_ZdlPvSt11align_val_t",
                                      "_ZdaPvSt11align_val_t"};

// Written when the library is loaded.
Range ranges[MOST_RANGES];
std::size_t range_count = 0;
Address waiting_calls[std::size(WAITING_CALLS)];
Address calling_back[std::size(CALLING_BACK)];
Address spinning[std::size(SPINNING)];
Address coming_back_elsewhere[std::size(COMING_BACK_ELSEWHERE)];
Address allocators[std::size(ALLOCATORS)];
Address system_call = 0;  // the C library's general one
Address private_wait = 0; // where the C library waits for a lock of its own
bool is_watched = false;

void add_text_of(dl_phdr_info const &library, Kind kind) noexcept {
  for (std::size_t i = 0; i < library.dlpi_phnum && range_count < MOST_RANGES; ++i) {
    ElfW(Phdr) const &segment = library.dlpi_phdr[i];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
      Address const begin = library.dlpi_addr + segment.p_vaddr;
      ranges[range_count++] = {begin, begin + segment.p_memsz, kind};
    }
  }
}

bool lies_in(dl_phdr_info const &library, void const *place) noexcept {
  auto const address = reinterpret_cast<Address>(place);
  return std::any_of(library.dlpi_phdr, library.dlpi_phdr + library.dlpi_phnum,
                     [&](ElfW(Phdr) const &segment) {
                       return segment.p_type == PT_LOAD &&
                              address - library.dlpi_addr - segment.p_vaddr < segment.p_memsz;
                     });
}

int add_library(dl_phdr_info *library, std::size_t /*size*/, void *allocator) noexcept {
  if (lies_in(*library, __start_ostbase_waits)) {
    add_text_of(*library, Kind::OURS);
    return 0;
  }
  std::size_t const known = range_count;
  char const *const slash = std::strrchr(library->dlpi_name, '/');
  char const *const name = slash == nullptr ? library->dlpi_name : slash + 1;
  for (Module const &module : MODULES) {
    if (std::strncmp(name, module.name, std::strlen(module.name)) == 0) {
      add_text_of(*library, module.kind);
    }
  }
  bool const is_program = library->dlpi_name[0] == '\0';
  if (range_count == known && !is_program && lies_in(*library, allocator)) {
    add_text_of(*library, Kind::BUSY);
  }
  return 0;
}

IN_HANDLER Kind kind_of(Address address) noexcept {
  for (std::size_t i = 0; i < range_count; ++i) {
    if (address - ranges[i].begin < ranges[i].end - ranges[i].begin) {
      return ranges[i].kind;
    }
  }
  return Kind::FOREIGN;
}

template <std::size_t COUNT>
IN_HANDLER bool is_one_of(Address const (&functions)[COUNT], Address function) noexcept {
  for (std::size_t i = 0; i < COUNT; ++i) {
    if (functions[i] == function) {
      return function != 0;
    }
  }
  return false;
}

IN_HANDLER bool is_marked(Address address) noexcept {
  return address >= reinterpret_cast<Address>(__start_ostbase_waits) &&
         address < reinterpret_cast<Address>(__stop_ostbase_waits);
}

// --- The interrupted instruction --------------------------------------------------------------

// What a thread does in the kernel.
enum class Call {
  NONE,    // it is not there, or has come back with something done
  FUTEX,   // waits on a word
  ANOTHER, // waits in another call, or is about to make it
  UNKNOWN, // waits: the number of the call is overwritten
};

struct Interrupted {
  Address place;
  Call call;
};

IN_HANDLER Call call_of(long number, long operation) noexcept {
  if (number != SYS_futex) {
    return Call::ANOTHER;
  }
  switch (operation & FUTEX_CMD_MASK) {
  case FUTEX_WAIT:
  case FUTEX_WAIT_BITSET:
  case FUTEX_LOCK_PI:
  case FUTEX_LOCK_PI2:
    return Call::FUTEX;
  default:
    return Call::NONE;
  }
}

// A call that a signal interrupts either stands before its instruction again, or has come back with
// EINTR. The instruction is looked at inside the C library only, where all memory is readable.
#if defined(__x86_64__)

IN_HANDLER bool is_call(Address place) noexcept {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a register is a number.
  auto const *const bytes = reinterpret_cast<unsigned char const *>(place);
  return bytes[0] == 0x0F && bytes[1] == 0x05; // syscall
}

IN_HANDLER Interrupted interrupted_at(ucontext_t const &context) noexcept {
  auto const &registers = context.uc_mcontext.gregs;
  auto const place = static_cast<Address>(registers[REG_RIP]);
  if (kind_of(place) != Kind::C_LIBRARY) {
    return {place, Call::NONE};
  }
  if (is_call(place)) {
    return {place, call_of(registers[REG_RAX], registers[REG_RSI])};
  }
  bool const is_back = registers[REG_RAX] == -EINTR && is_call(place - 2);
  return {place, is_back ? Call::UNKNOWN : Call::NONE};
}

IN_HANDLER Address stack_pointer(ucontext_t const &context) noexcept {
  return static_cast<Address>(context.uc_mcontext.gregs[REG_RSP]);
}

// The return address into `caller` lies below everything else of it.
IN_HANDLER void **way_back_to(_Unwind_Context *caller) noexcept {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the unwinder gives a number.
  auto *const above = reinterpret_cast<void **>(_Unwind_GetCFA(caller));
  return reinterpret_cast<Address>(above[-1]) == _Unwind_GetIP(caller) ? above - 1 : nullptr;
}

// Where a call returns whose way back was turned: with the stack as its caller left it.
__attribute__((naked)) void after_call() {
  __asm__("andq $-16, %rsp\n\t"
          "call *ostbase_after_call(%rip)\n\t"
          "ud2");
}

#elif defined(__aarch64__)

IN_HANDLER bool is_call(Address place) noexcept {
  constexpr std::uint32_t SVC_0 = 0xD4000001;
  return *reinterpret_cast<std::uint32_t const *>(place) == SVC_0;
}

IN_HANDLER Interrupted interrupted_at(ucontext_t const &context) noexcept {
  auto const &registers = context.uc_mcontext.regs;
  auto const place = static_cast<Address>(context.uc_mcontext.pc);
  if (kind_of(place) != Kind::C_LIBRARY) {
    return {place, Call::NONE};
  }
  bool const is_back = static_cast<long>(registers[0]) == -EINTR && is_call(place - 4);
  if (!is_call(place) && !is_back) {
    return {place, Call::NONE};
  }
  return {place, call_of(static_cast<long>(registers[8]), static_cast<long>(registers[1]))};
}

IN_HANDLER Address stack_pointer(ucontext_t const &context) noexcept {
  return static_cast<Address>(context.uc_mcontext.sp);
}

// A function keeps the address where it likes.
IN_HANDLER void **way_back_to(_Unwind_Context * /*caller*/) noexcept {
  return nullptr;
}

void after_call() {
  ostbase_after_call();
}

#else
#error "Ending a thread needs to know where this processor keeps the number of a system call."
#endif

// --- The stack --------------------------------------------------------------------------------

// A look from the interrupted instruction outwards.
class Look {
public:
  IN_HANDLER Look(Interrupted const &interrupted, void const *base) noexcept
      : interrupted_(interrupted), base_(reinterpret_cast<Address>(base)) {}

  // To be asked when everything was looked at.
  IN_HANDLER bool is_busy() noexcept {
    close_run(nullptr);
    return is_busy_;
  }
  IN_HANDLER void **way_back() const noexcept { return way_back_; }

  IN_HANDLER static _Unwind_Reason_Code step(_Unwind_Context *frame, void *look) noexcept {
    return static_cast<Look *>(look)->step(frame) ? _URC_NO_REASON : _URC_NORMAL_STOP;
  }

private:
  // Frames of one kind that follow each other.
  struct Run {
    Kind kind = Kind::FOREIGN;
    unsigned int depth = 0;
    bool is_innermost = false;
    Address first = 0; // the function of the innermost frame
    Address entry = 0; // that of the outermost, which was called from elsewhere
    Address place = 0; // where that one is
  };

  IN_HANDLER bool step(_Unwind_Context *frame) noexcept {
    int is_interrupted = 0;
    Address place = _Unwind_GetIPInfo(frame, &is_interrupted);
    if (!is_found_ && place != interrupted_.place) {
      return true; // the handler's own frames
    }
    Address const function = _Unwind_GetRegionStart(frame);
    if (function == base_) {
      return false;
    }
    // A call that does not return may end its function: what follows it belongs to another.
    place -= is_interrupted != 0 ? 0 : 1;
    Kind kind = kind_of(place);
    if (kind == Kind::FOREIGN && is_one_of(allocators, function)) {
      kind = Kind::BUSY;
    }
    if (run_.depth == 0 || kind != run_.kind) {
      close_run(kind == Kind::FOREIGN ? frame : nullptr);
      run_ = {kind, 0, !is_found_, function, 0, 0};
    }
    is_found_ = true;
    ++run_.depth;
    run_.entry = function;
    run_.place = place;
    return true;
  }

  // The outermost busy run is the last to end. `program` made its first call; null for others.
  // Where it calls the program back, an exception may leave it, which would not find its way.
  IN_HANDLER void close_run(_Unwind_Context *program) noexcept {
    if (run_.depth > 0 && !is_harmless(run_)) {
      is_busy_ = true;
      bool const is_plain = !is_program_inside_ && run_.kind != Kind::RUNTIME &&
                            run_.kind != Kind::LOADER &&
                            !is_one_of(coming_back_elsewhere, run_.entry);
      way_back_ = program != nullptr && is_plain ? way_back_to(program) : nullptr;
    }
    is_program_inside_ = is_program_inside_ || (run_.depth > 0 && run_.kind == Kind::FOREIGN);
    run_.depth = 0;
  }

  IN_HANDLER bool is_harmless(Run const &run) const noexcept {
    switch (run.kind) {
    case Kind::FOREIGN:
      return true;
    case Kind::RUNTIME:
      return !run.is_innermost;
    case Kind::C_LIBRARY:
      return run.is_innermost ? is_waiting(run) || is_one_of(spinning, run.entry)
                              : is_one_of(calling_back, run.entry);
    case Kind::OURS:
      return !run.is_innermost && is_marked(run.place);
    case Kind::BUSY:
    case Kind::LOADER:
      break;
    }
    return false;
  }

  IN_HANDLER bool is_waiting(Run const &run) const noexcept {
    if (interrupted_.call == Call::NONE) {
      return false;
    }
    if (is_one_of(waiting_calls, run.entry) || run.entry == system_call) {
      return true;
    }
    // Some waits of the C library end in a jump to a function without a name (sem_wait,
    // pthread_join). What waits on a word, but not for a lock of the C library itself, and was
    // called from outside it no more than two calls ago is one of them.
    constexpr unsigned int DEEPEST = 3;
    bool const is_on_word = interrupted_.call == Call::FUTEX || interrupted_.call == Call::UNKNOWN;
    return is_on_word && private_wait != 0 && run.first != private_wait && run.depth <= DEEPEST;
  }

  Interrupted interrupted_;
  Address base_;
  bool is_found_ = false; // whether the interrupted frame was reached
  bool is_busy_ = false;
  bool is_program_inside_ = false;
  void **way_back_ = nullptr;
  Run run_;
};

} // namespace

namespace {

// False without memory. Leaves no error of the loader behind.
bool learn_safe_points() noexcept {
  void *const library = dlopen(LIBC_SO, RTLD_LAZY | RTLD_NOLOAD);
  if (library == nullptr) {
    return false;
  }
  auto const address_of = [library](char const *name) {
    return reinterpret_cast<Address>(dlsym(library, name));
  };
  std::transform(std::begin(WAITING_CALLS), std::end(WAITING_CALLS), waiting_calls, address_of);
  std::transform(std::begin(CALLING_BACK), std::end(CALLING_BACK), calling_back, address_of);
  std::transform(std::begin(SPINNING), std::end(SPINNING), spinning, address_of);
  std::transform(std::begin(COMING_BACK_ELSEWHERE), std::end(COMING_BACK_ELSEWHERE),
                 coming_back_elsewhere, address_of);
  std::transform(std::begin(ALLOCATORS), std::end(ALLOCATORS), allocators, [](char const *name) {
    return reinterpret_cast<Address>(dlsym(RTLD_DEFAULT, name));
  });
  system_call = address_of("syscall");
  private_wait = address_of("__lll_lock_wait_private");
  dlclose(library);
  is_watched = dlsym(RTLD_DEFAULT, "__asan_init") != nullptr ||
               dlsym(RTLD_DEFAULT, "__tsan_init") != nullptr;
  dl_iterate_phdr(add_library, dlsym(RTLD_DEFAULT, "malloc"));
  dlerror();

  Look here({0, Call::NONE}, nullptr);
  _Unwind_Backtrace(Look::step, &here);
  return true;
}

bool const is_known = learn_safe_points();

} // namespace

bool knows_safe_points() noexcept {
  return is_known;
}

IN_HANDLER SafePointLook look_for_safe_point(ucontext_t const &context, void const *base) noexcept {
  Interrupted const interrupted = interrupted_at(context);
  // The unwinder is not asked inside itself, nor inside the loader.
  Kind const kind = kind_of(interrupted.place);
  if (kind == Kind::RUNTIME || kind == Kind::LOADER) {
    return {SafePoint::SOON, nullptr};
  }
  Look look(interrupted, base);
  _Unwind_Backtrace(Look::step, &look);
  if (!look.is_busy()) {
    return {SafePoint::HERE, nullptr};
  }
  return {interrupted.call == Call::NONE ? SafePoint::SOON : SafePoint::LATE, look.way_back()};
}

TurnedCall turn_way_back(void **way_back, void (*function)()) noexcept {
  TurnedCall const call = {way_back, *way_back};
  ostbase_after_call = function;
  *way_back = reinterpret_cast<void *>(after_call);
  return call;
}

void undo_turn(ucontext_t const &context, TurnedCall const &call) noexcept {
  bool const is_going_on = call.way_back != nullptr &&
                           *call.way_back == reinterpret_cast<void *>(after_call) &&
                           stack_pointer(context) <= reinterpret_cast<Address>(call.way_back);
  if (is_going_on) {
    *call.way_back = call.home;
  }
}

bool is_sanitized() noexcept {
  return is_watched;
}

} // namespace Ostrel
