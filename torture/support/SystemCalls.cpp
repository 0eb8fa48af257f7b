// SPDX-License-Identifier: Apache-2.0
// A filter of the kernel stops each call of one thread until another thread has decided about it.
#include "torture/support/SystemCalls.hpp"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int LET_PASS[] = {
    SYS_brk,           SYS_mmap,        SYS_munmap,      SYS_mremap,       SYS_mprotect,
    SYS_madvise,       SYS_futex,       SYS_sched_yield, SYS_rt_sigaction, SYS_rt_sigprocmask,
    SYS_rt_sigpending, SYS_sigaltstack, SYS_getpid,      SYS_gettid,       SYS_clock_gettime,
    SYS_getrandom,     SYS_rseq,        SYS_exit,        SYS_exit_group};

constexpr int END_MARK = SYS_getppid; // not called otherwise

[[noreturn]] void abort_after(char const *what) {
  std::fprintf(stderr, "%s: %s\n", what, std::strerror(errno));
  std::abort();
}

// Stops the calls of this thread from now on.
// @return the descriptor that reports them.
int stop_calls() {
  constexpr auto NUMBER = static_cast<unsigned int>(offsetof(seccomp_data, nr));
  std::vector<sock_filter> program = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, NUMBER)};
  for (int const number : LET_PASS) {
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(number), 0, 1));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  }
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
  sock_fprog const filter = {static_cast<unsigned short>(program.size()), program.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) { // else only root may set a filter
    abort_after("prctl");
  }
  long const listener =
      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter);
  if (listener < 0) {
    abort_after("seccomp");
  }
  return static_cast<int>(listener);
}

bool is_write(int number) {
  return number == SYS_write || number == SYS_pwrite64;
}

// Writes half of the bytes for the thread, which has the same memory and descriptors.
void write_half(SystemCall const &call, seccomp_notif_resp &answer) {
  unsigned long long const half = (call.arguments[2] + 1) / 2;
  long const written =
      syscall(call.number, call.arguments[0], call.arguments[1], half, call.arguments[3]);
  written < 0 ? answer.error = -errno : answer.val = written;
}

void answer_call(int listener, seccomp_notif const &stopped, Verdict const &verdict) {
  seccomp_notif_resp answer = {};
  answer.id = stopped.id;
  if (verdict.error != 0) {
    if (stopped.data.nr == SYS_close) { // its descriptor is gone, also when it fails
      close(static_cast<int>(stopped.data.args[0]));
    }
    answer.error = -verdict.error;
  } else if (verdict.is_short && is_write(stopped.data.nr)) {
    write_half({stopped.data.nr, stopped.data.args}, answer);
  } else {
    answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
  }
  if (ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer) != 0) {
    abort_after("answer to a system call");
  }
}

// False if the thread has ended.
bool wait_for_call(int listener) {
  pollfd ready = {listener, POLLIN, 0};
  while (poll(&ready, 1, -1) == -1) {
    if (errno != EINTR) {
      abort_after("wait for a system call");
    }
  }
  return (ready.revents & POLLIN) != 0;
}

seccomp_notif next_call(int listener) {
  for (;;) {
    seccomp_notif stopped = {};
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &stopped) == 0) {
      return stopped;
    }
    if (errno != EINTR) {
      abort_after("wait for a system call");
    }
  }
}

} // namespace

unsigned int
judge_system_calls(std::function<void()> const &action,
                   std::function<Verdict(unsigned int, SystemCall const &)> const &judge) {
  std::promise<int> promised;
  std::thread thread([&] {
    promised.set_value(stop_calls());
    action();
    syscall(END_MARK);
  });
  int const listener = promised.get_future().get();
  unsigned int count = 0;
  bool is_over = false; // after that the thread ends itself, for which a sanitizer makes calls
  while (wait_for_call(listener)) {
    seccomp_notif const stopped = next_call(listener);
    is_over = is_over || stopped.data.nr == END_MARK;
    Verdict const verdict =
        is_over ? Verdict() : judge(count++, {stopped.data.nr, stopped.data.args});
    answer_call(listener, stopped, verdict);
  }
  thread.join();
  close(listener);
  return count;
}
