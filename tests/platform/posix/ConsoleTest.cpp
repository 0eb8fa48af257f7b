// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using Ostrel::Platform;

namespace {

int master = -1, terminal = -1; // the two ends of the pseudo-terminal

// Gives this process a pseudo-terminal as its controlling terminal.
bool make_terminal() {
  master = posix_openpt(O_RDWR | O_NOCTTY);
  if (setsid() == -1 || grantpt(master) != 0 || unlockpt(master) != 0) {
    return false;
  }
  terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  return ioctl(terminal, TIOCSCTTY, 0) == 0;
}

bool type(std::string const &keys) {
  return write(master, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
}

// Types before anybody reads: the keys have arrived when the terminal has echoed one of them, which
// no key before was. Gives what was echoed until then.
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

// Waits until somebody waits for a key.
void wait_for_reader() {
  while (is_line_edited()) {
    std::this_thread::yield();
  }
}

// Reads so many keys, of which `later` are typed once the reader waits.
std::string read_keys(std::size_t count, std::string const &later = "") {
  std::thread typist([&later] {
    if (!later.empty()) {
      wait_for_reader();
      type(later);
    }
  });
  std::string keys;
  while (keys.size() < count) {
    keys += Platform::get_char();
  }
  typist.join();
  return keys;
}

// Ends another process by a signal and gives the status of its end. One signal has to do, except
// under the thread sanitizer, which loses one that comes while it is busy itself.
int end_by(int signal, pid_t process) {
  int status = 0;
  kill(process, signal);
#ifdef __SANITIZE_THREAD__
  while (waitpid(process, &status, WNOHANG) == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    kill(process, signal);
  }
#else
  waitpid(process, &status, 0);
#endif
  return status;
}

void note(char const *what, bool is_right) {
  std::printf("%s: %s\n", what, is_right ? "right" : "WRONG");
}

Role const keys_role("console-keys", [](Role::Arguments const &) {
  alarm(60);
  if (!make_terminal()) {
    return 1;
  }
  note("no key", !Platform::input_ready(stdin));
  type_ahead("ab\rc", 'c'); // a line and the beginning of one
  note("key waits", Platform::input_ready(stdin) && !Platform::input_ready(stdout));
  note("typed ahead", read_keys(4) == "ab\rc");
  type_ahead("a\x04z", 'z');
  note("end of input typed ahead", read_keys(3) == "a\x04z");
  note("typed during", read_keys(4, "x\r\ny") == "x\r\ny");
  note("typed during, read later", read_keys(1, "x\r\n\r") == "x" && read_keys(3) == "\r\n\r");
  note("echoed", type_ahead("pq\r", 'q').find('x') != std::string::npos);
  std::string line;
  int unfinished = 0;
  while (!Platform::get_line(&line)) {
    ++unfinished;
  }
  note("line", unfinished == 2 && line == "pq");

  // A terminal that leaves Enter alone.
  termios mode = {};
  tcgetattr(terminal, &mode);
  mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
  tcsetattr(terminal, TCSANOW, &mode);
  type_ahead("z\r\n", 'z');
  note("not translated", read_keys(3) == "z\r\n" && read_keys(2, "\r\n") == "\r\n");
  note("restored", is_line_edited());

  // A copy of the process that is made meanwhile has nothing to do with it.
  std::thread reader([] { Platform::get_char(); });
  wait_for_reader();
  if (fork() == 0) {
    alarm(60);
    struct sigaction action = {};
    sigaction(SIGTERM, nullptr, &action);
    _exit(action.sa_handler != SIG_DFL || is_line_edited() || Platform::input_ready(stdin) ? 1 : 0);
  }
  int status = 0;
  note("forked", wait(&status) > 0 && status == 0 && !is_line_edited());
  type("f");
  reader.join();

  // A signal that the program handles.
  std::signal(SIGUSR1, [](int) { type("s"); });
  std::thread sender([] {
    wait_for_reader();
    kill(getpid(), SIGUSR1);
  });
  note("handled signal", Platform::get_char() == 's' && is_line_edited());
  sender.join();

  std::signal(SIGHUP, SIG_IGN);
  close(master);
  note("hang-up", Platform::get_char() == '\r' && !Platform::input_ready(stdin));
  return 0;
});

// Ends a process that waits for a key, by what the argument says.
Role const end_role("console-end", [](Role::Arguments const &arguments) {
  if (!make_terminal()) {
    return 1;
  }
  std::string const &how = arguments[0];
  alarm(60);
  pid_t const reader = fork();
  if (reader == 0) {
    std::thread thread([] { Platform::get_char(); });
    wait_for_reader();
    if (how == "exit") {
      std::exit(0);
    }
    if (how == "cancel") {
      pthread_cancel(thread.native_handle());
    }
    thread.join();
    _exit(is_line_edited() ? 0 : 1);
  }
  int const signal = std::atoi(how.c_str()); // 0, which is none, for one that ends by itself
  if (signal != 0) {
    wait_for_reader();
  }
  int const status = end_by(signal, reader);
  note("restored", is_line_edited());
  std::printf("%d\n", WIFSIGNALED(status) ? WTERMSIG(status) : -WEXITSTATUS(status));
  return 0;
});

Role const without_role("console-without", [](Role::Arguments const &) {
  setsid();
  std::string line = "kept";
  return Platform::get_line(&line) && line == "kept" && !Platform::input_ready(stdin) ? 0 : 1;
});

} // namespace

TEST(Console, GivesKeyPresses) {
  ChildResult const child = run_child("console-keys");
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(child.out.find("WRONG"), std::string::npos) << child.out;
  EXPECT_NE(child.out.find("hang-up: right"), std::string::npos) << child.out;
}

TEST(Console, LeavesTheTerminalAsItWasFound) {
  std::vector<std::string> ways = {"exit", "cancel"};
  for (int const signal : {SIGTERM, SIGINT, SIGABRT, SIGSTKFLT, SIGRTMIN, SIGRTMAX}) {
    ways.push_back(std::to_string(signal));
  }
  for (std::string const &how : ways) {
    std::string const end = how == "exit" || how == "cancel" ? "0" : how;
    EXPECT_EQ(run_child("console-end", {how}).out, "restored: right\n" + end + "\n") << how;
  }
}

TEST(Console, GivesEnterWithoutATerminal) {
  EXPECT_EQ(run_child("console-without").status, 0);
}
