// SPDX-License-Identifier: Apache-2.0
// _kbhit and _getche, on the controlling terminal, which gives single key presses only while its
// line editing is off.
//
// Enter sends a carriage return, which the terminal usually turns into a line feed as it arrives
// (ICRNL): what was typed before a call cannot be told from a line feed afterwards. So the two are
// exchanged during a call (INLCR as well), and a line feed is Enter whenever it was typed; it is
// also what a shell expects to find when it gets what nobody read here. Where the terminal leaves
// Enter alone, it is left alone here. Of the key for the end of the input, typed before a call, the
// line editing leaves a zero, which is read as that key.
//
// The change of the terminal outlives the process, so it is taken back on every way out: by the
// last call that ends (also by a thread that is cancelled or terminated while it waits), by the end
// of the process, and by the signals that would end or stop it and that the program leaves to
// the system.
#include "core/base/platform/winapi/cancellation.hpp"
#include "core/base/platform/winapi/descriptor.hpp"
#include "core/base/platform/winapi/fork.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int ENTER = '\r';

using Ostrel::Descriptor;

// The default action of these leaves the process as it is, or stops it because the terminal is
// somebody else's, whose settings it must not touch then.
constexpr int SIGNALS_LEFT_ALONE[] = {SIGCHLD, SIGURG, SIGWINCH, SIGTTIN, SIGTTOU};

extern "C" void end_or_stop(int signal);

// The state of the terminal during calls. Signal handlers read it, so it changes in an order in
// which it is always true.
class Console {
public:
  constexpr Console() noexcept = default;
  Console(Console const &) = delete;
  Console &operator=(Console const &) = delete;
  // At the end of the process another thread may be waiting for a key.
  ~Console() {
    restore();
    descriptor_.release();
  }

  // Switches to single keys for the first of those who call. False without a terminal.
  bool enter();
  // Switches back for the last.
  void leave() noexcept;

  // Both are allowed in a signal handler.
  void restore() noexcept;
  void switch_to_keys() noexcept;

  // For as long as the caller is between enter and leave.
  int descriptor() const noexcept { return descriptor_.get(); }
  int key_of(unsigned char byte) const noexcept;

private:
  bool open_terminal() noexcept;
  static void forget_parent() noexcept;

  Ostrel::ForkMutex guard_{forget_parent};
  int users_ = 0;             // guarded by guard_
  Descriptor descriptor_;     // changes without users only
  bool is_exchanged_ = false; // likewise: a line feed means Enter
  termios before_{};          // likewise
  termios during_{};          // likewise
  // The process that switched the terminal, for as long as it is to be switched: a child of it that
  // was made meanwhile has nothing to restore.
  std::atomic<pid_t> process_{0};
  std::atomic<bool> is_switched_{false};
};

Console console;

void Console::restore() noexcept {
  if (is_switched_ && process_ == getpid()) {
    tcsetattr(descriptor_.get(), TCSANOW, &before_);
    is_switched_ = false;
  }
}

void Console::switch_to_keys() noexcept {
  if (process_ == getpid()) {
    is_switched_ = true;
    tcsetattr(descriptor_.get(), TCSANOW, &during_);
  }
}

// Gives `handler` all signals that have the handler `from`: the program's own stay as they are.
void exchange_handlers(void (*from)(int), void (*handler)(int)) noexcept {
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    bool const is_left = std::find(std::begin(SIGNALS_LEFT_ALONE), std::end(SIGNALS_LEFT_ALONE),
                                   signal) != std::end(SIGNALS_LEFT_ALONE);
    struct sigaction action = {};
    if (!is_left && sigaction(signal, nullptr, &action) == 0 &&
        (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == from) {
      action.sa_handler = handler;
      action.sa_flags = SA_RESTART | SA_ONSTACK;
      sigaction(signal, &action, nullptr);
    }
  }
}

// In the child of a fork: only the thread that forked is left, and that one is not in a call.
void Console::forget_parent() noexcept {
  if (console.users_ > 0) {
    console.users_ = 0;
    console.is_switched_ = false;
    console.descriptor_ = Descriptor();
    exchange_handlers(end_or_stop, SIG_DFL);
  }
}

bool Console::enter() {
  Ostrel::ForkLock const lock(guard_);
  if (users_ == 0 && !open_terminal()) {
    return false;
  }
  if (users_++ == 0) {
    exchange_handlers(SIG_DFL, end_or_stop);
    process_ = getpid();
    switch_to_keys();
  }
  return true;
}

void Console::leave() noexcept {
  Ostrel::ForkLock const lock(guard_);
  if (--users_ == 0) {
    restore();
    process_ = 0;
    exchange_handlers(end_or_stop, SIG_DFL);
    descriptor_ = Descriptor();
  }
}

bool Console::open_terminal() noexcept {
  Descriptor opened = Descriptor::open("/dev/tty", O_RDWR | O_NOCTTY);
  if (!opened.is_open() || tcgetattr(opened.get(), &before_) != 0) {
    return false;
  }
  descriptor_ = std::move(opened);
  is_exchanged_ = (before_.c_iflag & ICRNL) != 0;
  during_ = before_;
  during_.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL);
  during_.c_iflag &= ~static_cast<tcflag_t>(IGNCR | INLCR);
  if (is_exchanged_) {
    during_.c_iflag |= INLCR;
  }
  during_.c_cc[VMIN] = 1;
  during_.c_cc[VTIME] = 0;
  return true;
}

int Console::key_of(unsigned char byte) const noexcept {
  if (is_exchanged_ && (byte == '\n' || byte == ENTER)) {
    return byte == '\n' ? ENTER : '\n';
  }
  bool const is_end_of_input = byte == 0 && (before_.c_lflag & ICANON) != 0;
  return is_end_of_input ? before_.c_cc[VEOF] : byte;
}

// Lets the system do with the signal what it would have done, with the terminal restored. It comes
// back only from a signal that stopped the process, when that goes on. The terminal may have been
// set otherwise meanwhile, also when SIGSTOP, which nobody notices, stopped the process.
void end_or_stop(int signal) {
  int const error = errno;
  if (signal == SIGCONT) {
    console.switch_to_keys();
    errno = error;
    return;
  }
  console.restore();
  struct sigaction mine = {}, system = {};
  system.sa_handler = SIG_DFL;
  sigaction(signal, &system, &mine);
  raise(signal);
  sigset_t only = {}, blocked = {};
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, &blocked);
  pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
  sigaction(signal, &mine, nullptr);
  console.switch_to_keys();
  errno = error;
}

// The terminal, switched to single keys for the length of a block, in which the thread is not
// cancelled.
class SingleKeys {
public:
  SingleKeys() : is_there_(console.enter()) {}
  SingleKeys(SingleKeys const &) = delete;
  SingleKeys &operator=(SingleKeys const &) = delete;
  ~SingleKeys() {
    if (is_there_) {
      console.leave();
    }
  }

  bool is_there() const noexcept { return is_there_; }

  // Waits for one byte; -1 after a hang-up. Not noexcept: the thread may be cancelled meanwhile.
  int read_byte() const;

private:
  static void leave(void * /*unused*/) { console.leave(); }

  Ostrel::NotCancelled not_cancelled_; // from before the first change to after the last
  bool is_there_;
};

int SingleKeys::read_byte() const {
  unsigned char byte = 0;
  ssize_t count = -1;
  {
    Ostrel::TerminationHook const hook(leave, nullptr);
    Ostrel::NotCancelled::Pause const pause(not_cancelled_);
    do {
      count = read(console.descriptor(), &byte, 1);
    } while (count == -1 && errno == EINTR);
  }
  return count == 1 ? byte : -1;
}

// What cannot be shown does not fail the read.
void echo(int key) {
  auto const byte = static_cast<unsigned char>(key);
  while (write(console.descriptor(), &byte, 1) == -1 && errno == EINTR) {
  }
}

} // namespace

int _fileno(std::FILE *stream) {
  return fileno(stream);
}

int _kbhit() {
  SingleKeys const keys;
  int waiting = 0;
  return keys.is_there() && ioctl(console.descriptor(), FIONREAD, &waiting) == 0 && waiting > 0;
}

int _getche() {
  SingleKeys const keys;
  if (!keys.is_there()) {
    return ENTER;
  }
  int const byte = keys.read_byte();
  if (byte == -1) {
    return ENTER;
  }
  int const key = console.key_of(static_cast<unsigned char>(byte));
  echo(key);
  return key;
}
