// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using Ostrel::Platform;

namespace {

constexpr int NO_TERMINAL = 77; // a child's status if the system has no pseudo-terminal

int master = -1, terminal = -1; // the two ends of the pseudo-terminal

// Makes a pseudo-terminal the controlling terminal of this process.
bool make_terminal() {
  master = posix_openpt(O_RDWR | O_NOCTTY);
  if (setsid() == -1 || grantpt(master) != 0 || unlockpt(master) != 0) {
    return false;
  }
  terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  return ioctl(terminal, TIOCSCTTY, 0) == 0;
}

void type(std::string const &keys) {
  [[maybe_unused]] ssize_t const count = write(master, keys.data(), keys.size());
}

// Types before a read. The keys have arrived when the terminal has echoed `new_key`, which must not
// occur in earlier keys. Returns the echo until then.
std::string type_ahead(std::string const &keys, char new_key) {
  std::string echoed;
  char byte = 0;
  type(keys);
  while (read(master, &byte, 1) == 1 && byte != new_key) {
    echoed += byte;
  }
  return echoed;
}

bool is_line_edited() {
  termios mode = {};
  return tcgetattr(terminal, &mode) == 0 && (mode.c_lflag & ICANON) != 0 &&
         (mode.c_lflag & ECHO) != 0 && (mode.c_iflag & INLCR) == 0;
}

// Waits until a reader waits for a key.
void wait_for_reader() {
  while (is_line_edited()) {
    std::this_thread::yield();
  }
}

// Reads `count` keys; once the reader waits, another thread may run an action.
std::string read_keys(std::size_t count, void (*meanwhile)() = nullptr) {
  std::thread other([meanwhile] {
    if (meanwhile != nullptr) {
      wait_for_reader();
      meanwhile();
    }
  });
  std::string keys;
  while (keys.size() < count) {
    keys += Platform::get_char();
  }
  other.join();
  return keys;
}

// A process that is forked while a thread waits for a key does not inherit the wait.
void fork_meanwhile() {
  if (fork() == 0) {
    alarm(60);
    struct sigaction action = {};
    sigaction(SIGTERM, nullptr, &action);
    _exit(action.sa_handler != SIG_DFL || is_line_edited() || Platform::input_ready(stdin) ? 1 : 0);
  }
  int status = 0;
  EXPECT_GT(wait(&status), 0);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(is_line_edited());
  type("f");
}

// Ends or stops another process by a signal and returns its status. One signal must suffice, except
// under the thread sanitizer, which may lose a signal.
int end_by(int signal, pid_t process) {
  int status = 0;
  kill(process, signal);
#ifdef __SANITIZE_THREAD__
  while (waitpid(process, &status, WNOHANG | WUNTRACED) == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    kill(process, signal);
  }
#else
  waitpid(process, &status, WUNTRACED);
#endif
  return status;
}

// Makes the system kill this process at its next `sigaction`.
bool forbid_handlers() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_rt_sigaction, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog const filter = {std::size(program), program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

void handle_by_typing(int /*signal*/) {
  type("s");
}

Role const keys_role("console-keys", [](Role::Arguments const &) {
  alarm(60);
  if (!make_terminal()) {
    return NO_TERMINAL;
  }
  EXPECT_FALSE(Platform::input_ready(stdin));
  type_ahead("ab\rc", 'c'); // a line and the beginning of one
  EXPECT_TRUE(Platform::input_ready(stdin));
  EXPECT_FALSE(Platform::input_ready(stdout));
  EXPECT_EQ(read_keys(4), "ab\rc");
  type_ahead("a\x04z", 'z');
  EXPECT_EQ(read_keys(3), "a\x04z");
  EXPECT_EQ(read_keys(4, [] { type("x\r\ny"); }), "x\r\ny");
  EXPECT_EQ(read_keys(1, [] { type("x\r\n\r"); }), "x");
  EXPECT_EQ(read_keys(3), "\r\n\r") << "typed during an earlier call";
  EXPECT_NE(type_ahead("pq\r", 'q').find('x'), std::string::npos) << "what is read is echoed";
  std::string line;
  for (bool const is_whole : {false, false, true}) {
    EXPECT_EQ(Platform::get_line(&line), is_whole);
  }
  EXPECT_EQ(line, "pq");

  // A terminal that does not translate Enter.
  termios mode = {};
  tcgetattr(terminal, &mode);
  mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
  tcsetattr(terminal, TCSANOW, &mode);
  type_ahead("z\r\n", 'z');
  EXPECT_EQ(read_keys(3), "z\r\n");
  EXPECT_EQ(read_keys(2, [] { type("\r\n"); }), "\r\n");
  EXPECT_TRUE(is_line_edited());

  EXPECT_EQ(read_keys(1, fork_meanwhile), "f");
  struct sigaction before = {};
  sigaction(SIGTERM, nullptr, &before);
  EXPECT_EQ(before.sa_handler, SIG_DFL) << "left behind by a call";
  for (int round = 0; round < 2; ++round) { // a handler set during the call, and one before it
    EXPECT_EQ(read_keys(1,
                        [] {
                          std::signal(SIGTERM, handle_by_typing);
                          kill(getpid(), SIGTERM);
                        }),
              "s");
    EXPECT_EQ(std::signal(SIGTERM, handle_by_typing), handle_by_typing);
  }
  EXPECT_TRUE(is_line_edited());

  std::signal(SIGHUP, SIG_IGN);
  close(master);
  EXPECT_EQ(Platform::get_char(), '\r');
  EXPECT_FALSE(Platform::input_ready(stdin));
  return 0;
});

// Other ends than signals of a process that waits for a key.
constexpr int EXITS = 0, IS_CANCELLED = -1;

Role const end_role("console-end", [](Role::Arguments const &arguments) {
  alarm(60);
  if (!make_terminal()) {
    return NO_TERMINAL;
  }
  int const how = std::stoi(arguments[0]);
  pid_t const reader = fork();
  if (reader == 0) {
    std::thread thread([] { Platform::get_char(); });
    wait_for_reader();
    if (how == EXITS) {
      std::exit(0);
    }
    if (how == IS_CANCELLED) {
      pthread_cancel(thread.native_handle());
    }
    thread.join();
    _exit(is_line_edited() ? 0 : 1);
  }
  if (how > 0) {
    wait_for_reader();
  }
  int const status = end_by(std::max(how, 0), reader); // 0 is none
  EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : -WEXITSTATUS(status), std::max(how, 0));
  EXPECT_TRUE(is_line_edited());
  return 0;
});

// `input_ready` changes no signal handler. A background job has no key, and waits for the
// foreground before it reads one.
Role const job_role("console-job", [](Role::Arguments const &) {
  alarm(60);
  if (!make_terminal()) {
    return NO_TERMINAL;
  }
  type_ahead("a", 'a');
  int status = 0;
  for (bool const is_in_background : {false, true}) {
    pid_t const asking = fork();
    if (asking == 0) {
      alarm(60);
      setpgid(0, is_in_background ? 0 : getpgrp());
      _exit(!forbid_handlers() || Platform::input_ready(stdin) != is_in_background ? 0 : 1);
    }
    waitpid(asking, &status, WUNTRACED);
    EXPECT_EQ(status, 0) << is_in_background;
  }

  pid_t const job = fork();
  if (job == 0) {
    alarm(60);
    setpgid(0, 0);
    char key = 0;
    std::thread([&key] { key = Platform::get_char(); }).join();
    _exit(key == 'k' ? 0 : 1);
  }
  setpgid(job, job);
  waitpid(job, &status, WUNTRACED);
  EXPECT_TRUE(WIFSTOPPED(status));
  EXPECT_TRUE(is_line_edited());
  std::signal(SIGTTOU, SIG_IGN); // this process goes into the background now
  tcflush(terminal, TCIFLUSH);
  tcsetpgrp(terminal, job);
  kill(job, SIGCONT);
  wait_for_reader();
  status = end_by(SIGTSTP, job);
  EXPECT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGTSTP) << status;
  EXPECT_TRUE(is_line_edited());
  // Continued more than once: the thread sanitizer may pass on a second SIGTSTP late.
  while (is_line_edited()) {
    kill(job, SIGCONT);
    std::this_thread::yield();
  }
  type("k");
  while (waitpid(job, &status, WNOHANG) == 0) {
    kill(job, SIGCONT);
    std::this_thread::yield();
  }
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(is_line_edited());

#ifndef __SANITIZE_THREAD__ // its handlers run after the read, which stops a background process
  // A process that loses the foreground while it waits can be ended, and does not change the mode.
  pid_t const reader = fork();
  if (reader == 0) {
    alarm(60);
    setpgid(0, 0);
    tcsetpgrp(terminal, getpgrp());
    std::signal(SIGTTOU, SIG_DFL);
    Platform::get_char();
    _exit(1);
  }
  wait_for_reader();
  while (!is_asleep(static_cast<unsigned long>(reader))) { // a read in the background would stop it
    std::this_thread::yield();
  }
  tcsetpgrp(terminal, getpgrp());
  status = end_by(SIGTERM, reader);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
  EXPECT_FALSE(is_line_edited());
#endif
  return 0;
});

Role const without_role("console-without", [](Role::Arguments const &) {
  setsid();
  std::string line = "kept";
  EXPECT_TRUE(Platform::get_line(&line));
  EXPECT_EQ(line, "kept");
  EXPECT_FALSE(Platform::input_ready(stdin));
  return 0;
});

} // namespace

TEST(Console, KeepsToItsTerminal) {
  std::vector<std::vector<std::string>> roles = {{"console-keys"}, {"console-job"}};
  for (int const how : {EXITS, IS_CANCELLED, SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
    roles.push_back({"console-end", std::to_string(how)});
  }
  for (auto const &role : roles) {
    SCOPED_TRACE(role.front() + " " + role.back());
    ChildResult const child = run_child(role.front(), {role.back()});
    if (child.status == NO_TERMINAL) {
      GTEST_SKIP() << "the system has no pseudo-terminal";
    }
    EXPECT_EQ(child.status, 0) << child.out;
  }
}

TEST(Console, ReturnsEnterWithoutATerminal) {
  EXPECT_EQ(run_child("console-without").status, 0);
}
