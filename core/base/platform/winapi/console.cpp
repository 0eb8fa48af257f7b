// SPDX-License-Identifier: Apache-2.0
// _kbhit and _getche, on the controlling terminal, which delivers single key presses only while its
// line editing is off.
//
// The terminal usually converts the carriage return of Enter to a line feed (ICRNL), also one that
// was typed before a call. So a call exchanges the two (INLCR as well), and reads a line feed as
// Enter whenever it was typed. If the terminal does not convert Enter, neither does the call. The
// key for the end of the input, typed before a call, arrives as a zero, and is read as that key.
//
// The mode of the terminal outlives the process, so _getche restores it on every way out: in the
// last call that ends (also when its thread is cancelled or terminated), at the exit of the
// process, and in a handler of the signals that end or stop a program from its terminal. The
// handler restores the terminal, lets the default action happen, and if the process continues after
// a stop, switches the terminal again.
//
// _kbhit changes the terminal for a moment, and only if no whole line waits. It blocks the thread's
// signals in that moment instead of handling them.
#include "core/base/platform/posix/cancellation.hpp"
#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/process/AtFork.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int ENTER = '\r';
constexpr int HANDLED_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT};

using Ostrel::Descriptor;
using Handler = void (*)(int);

// --- Signals ----------------------------------------------------------------------------------

extern "C" void end_or_stop(int signal);

// Replaces one handler of a signal by another, but not a handler of the program. One that the
// program sets between the two steps is found by the second one, and restored.
void replace_handler(int signal, Handler from, Handler to) noexcept {
  struct sigaction replaced = {};
  if (sigaction(signal, nullptr, &replaced) != 0 || replaced.sa_handler != from) {
    return;
  }
  struct sigaction next = {};
  next.sa_handler = to;
  next.sa_flags = SA_RESTART | SA_ONSTACK;
  while (sigaction(signal, &next, &replaced) == 0 && replaced.sa_handler != from) {
    from = next.sa_handler;
    next = replaced;
  }
}

void replace_handlers(Handler from, Handler to) noexcept {
  for (int const signal : HANDLED_SIGNALS) {
    replace_handler(signal, from, to);
  }
}

// Blocks every signal in the thread until the end of a block.
class SignalsBlocked {
public:
  SignalsBlocked() noexcept {
    sigset_t all = {};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalsBlocked(SignalsBlocked const &) = delete;
  SignalsBlocked &operator=(SignalsBlocked const &) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
  sigset_t before_{};
};

// --- The terminal -----------------------------------------------------------------------------

Descriptor open_terminal() noexcept {
  return Descriptor::open("/dev/tty", O_RDWR | O_NOCTTY);
}

bool is_in_background(int terminal) noexcept {
  return tcgetpgrp(terminal) != getpgrp();
}

// How many bytes a read of the terminal would return now.
int count_waiting(int terminal) noexcept {
  int count = 0;
  return ioctl(terminal, FIONREAD, &count) == 0 ? count : 0;
}

// The state of the terminal during calls. Signal handlers read it, so `is_entered_` is set last.
class Console {
public:
  constexpr Console() noexcept = default;
  Console(Console const &) = delete;
  Console &operator=(Console const &) = delete;
  // At the exit of the process another thread may be waiting for a key.
  ~Console() {
    if (is_entered()) {
      finish();
    }
    replace_handlers(end_or_stop, SIG_DFL);
    descriptor_.release();
  }

  // Switches to single keys for the first of several callers. False without a terminal.
  bool enter();
  // Switches back for the last.
  void leave() noexcept;

  bool has_key() noexcept;

  // These are allowed in a signal handler, the last three between the first two.
  void begin_handler() noexcept { ++handlers_; }
  void end_handler() noexcept { --handlers_; }
  bool is_entered() const noexcept { return is_entered_; }
  void restore() noexcept;
  void switch_to_keys() noexcept;

  // These are for callers between enter and leave.
  int descriptor() const noexcept { return descriptor_.get(); }
  int key_of(unsigned char byte) const noexcept;

private:
  bool read_mode(int terminal) noexcept;
  void finish() noexcept;
  static void forget_parent() noexcept;

  int users_ = 0;                       // guarded by ProcessMutex::CONSOLE
  Descriptor descriptor_;               // changes without users only
  bool is_exchanged_ = false;           // likewise: a line feed means Enter
  termios before_{};                    // likewise
  termios during_{};                    // likewise
  std::atomic<bool> is_entered_{false}; // as long as the terminal is to be switched
  std::atomic<int> handlers_{0};        // how many run now
};

Console console;

// In the background the mode belongs to another program, and a change would stop the process.
void Console::restore() noexcept {
  if (!is_in_background(descriptor_.get())) {
    tcsetattr(descriptor_.get(), TCSANOW, &before_);
  }
}

// In the background, where the change would stop the process, the terminal stays unchanged: the
// next read stops the process as well, and SIGCONT comes with the foreground.
void Console::switch_to_keys() noexcept {
  if (is_entered() && !is_in_background(descriptor_.get())) {
    tcsetattr(descriptor_.get(), TCSANOW, &during_);
  }
}

// In the child of a fork, which has nothing to restore: the thread that forked is not in a call.
void Console::forget_parent() noexcept {
  if (console.users_ > 0) {
    console.users_ = 0;
    console.is_entered_ = false;
    console.handlers_ = 0;
    console.descriptor_ = Descriptor();
    replace_handlers(end_or_stop, SIG_DFL);
  }
}

// In the background the system stops the process in `tcdrain` until it is in the foreground: only
// then is the mode of the terminal the one to restore. A process that is not stopped (it ignores
// SIGTTOU, or no shell would wake it) has no terminal.
bool Console::enter() {
  Ostrel::NotCancelled const here;
  Ostrel::ProcessLock const lock(Ostrel::ProcessMutex::CONSOLE);
  if (users_ == 0) {
    Ostrel::AtFork::set_child_step(Ostrel::AtFork::CONSOLE, forget_parent);
    descriptor_ = open_terminal();
    if (!descriptor_.is_open()) {
      return false;
    }
    if (is_in_background(descriptor_.get())) {
      tcdrain(descriptor_.get());
    }
    if (is_in_background(descriptor_.get()) || !read_mode(descriptor_.get())) {
      descriptor_ = Descriptor();
      return false;
    }
    replace_handlers(SIG_DFL, end_or_stop);
    is_entered_ = true;
    switch_to_keys();
  }
  ++users_;
  return true;
}

void Console::leave() noexcept {
  Ostrel::NotCancelled const here;
  Ostrel::ProcessLock const lock(Ostrel::ProcessMutex::CONSOLE);
  if (--users_ == 0) {
    finish();
    replace_handlers(end_or_stop, SIG_DFL);
    descriptor_ = Descriptor();
  }
}

// When `is_entered_` is false, a handler no longer restores the terminal: so it is restored before.
// A handler in another thread may be about to switch it again: waits some microseconds for its end,
// and restores the terminal once more.
void Console::finish() noexcept {
  restore();
  is_entered_ = false;
  while (handlers_ > 0) {
    sched_yield();
  }
  restore();
}

bool Console::has_key() noexcept {
  SignalsBlocked const blocked; // among them SIGTTOU, which would stop a process in the background
  Ostrel::ProcessLock const lock(Ostrel::ProcessMutex::CONSOLE);
  Descriptor const opened = open_terminal();
  int const terminal = opened.get();
  if (!opened.is_open() || is_in_background(terminal)) {
    return false;
  }
  if (count_waiting(terminal) > 0) {
    return true;
  }
  // The beginning of a line counts while the line editing is off.
  if (users_ > 0 || !read_mode(terminal) || (before_.c_lflag & ICANON) == 0) {
    return false;
  }
  tcsetattr(terminal, TCSANOW, &during_);
  bool const has_key = count_waiting(terminal) > 0;
  tcsetattr(terminal, TCSANOW, &before_);
  return has_key;
}

// Reads the mode to restore, and derives the one for single keys.
bool Console::read_mode(int terminal) noexcept {
  if (tcgetattr(terminal, &before_) != 0) {
    return false;
  }
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

// Returns only after a signal that stops the process, when the process continues.
void take_default_action(int signal) noexcept {
  replace_handler(signal, end_or_stop, SIG_DFL);
  raise(signal); // blocked while its handler runs
  sigset_t only = {}, blocked = {};
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, &blocked);
  pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
  if (console.is_entered()) {
    replace_handler(signal, SIG_DFL, end_or_stop);
  }
}

// SIGCONT also follows SIGSTOP, which has no handler: the mode may have been changed since.
void end_or_stop(int signal) {
  Ostrel::ErrnoGuard const guard;
  console.begin_handler();
  if (signal != SIGCONT) {
    if (console.is_entered()) {
      console.restore();
    }
    take_default_action(signal);
  }
  console.switch_to_keys();
  console.end_handler();
}

// --- The calls --------------------------------------------------------------------------------

// The terminal, switched to single keys until the end of a block.
class SingleKeys {
public:
  SingleKeys() : is_there_(console.enter()), hook_(leave, this) {}
  SingleKeys(SingleKeys const &) = delete;
  SingleKeys &operator=(SingleKeys const &) = delete;
  ~SingleKeys() { leave(this); }

  bool is_there() const noexcept { return is_there_; }

  // Waits for one byte; -1 after a hang-up. Not noexcept: the thread may be cancelled meanwhile.
  int read_byte() const;

private:
  // Also called if the thread is terminated in the block, or while this waits for the lock.
  static void leave(void *self) {
    if (static_cast<SingleKeys *>(self)->is_there_) {
      console.leave();
    }
  }

  bool is_there_;
  Ostrel::TerminationHook hook_;
};

int SingleKeys::read_byte() const {
  unsigned char byte = 0;
  ssize_t count = -1;
  {
    Ostrel::TerminableWait const wait;
    do {
      count = read(console.descriptor(), &byte, 1);
    } while (count == -1 && errno == EINTR);
  }
  return count == 1 ? byte : -1;
}

// A failure to echo does not fail the read.
void echo(int key) {
  auto const byte = static_cast<unsigned char>(key);
  Ostrel::retry([&byte] { return write(console.descriptor(), &byte, 1); });
}

} // namespace

int _fileno(std::FILE *stream) {
  return fileno(stream);
}

int _kbhit() {
  Ostrel::NotCancelled const here;
  return console.has_key() ? 1 : 0;
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
