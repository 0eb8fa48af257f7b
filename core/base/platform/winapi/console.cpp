// SPDX-License-Identifier: Apache-2.0
// _kbhit and _getche, on the controlling terminal, which gives single key presses only while its
// line editing is off.
//
// Enter sends a carriage return, which the terminal usually turns into a line feed as it arrives
// (ICRNL): what was typed before a call cannot be told from a line feed afterwards. So the two are
// exchanged during a call (INLCR as well), and a line feed is Enter whenever it was typed; it is
// also what a shell expects to find when it gets what nobody read here. Where the terminal leaves
// Enter alone, it is left alone here.
//
// The change of the terminal outlives the process, so it is taken back on every way out: by the
// last call that ends (also by the unwinding of a thread that is cancelled while it waits), by the
// end of the process, and by the signals that would end or stop it and that the program leaves to
// the system.
#include "core/base/platform/winapi/winapi.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int ENTER = '\r';

constexpr int ENDING_SIGNALS[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM, SIGALRM, SIGUSR1,
                                  SIGUSR2, SIGPIPE, SIGXCPU, SIGXFSZ, SIGABRT, SIGBUS,
                                  SIGFPE,  SIGILL,  SIGSEGV, SIGSYS,  SIGTRAP, SIGVTALRM,
                                  SIGPROF, SIGIO,   SIGPWR,  SIGTSTP};

extern "C" void end_or_stop(int signal);

// The state of the terminal during calls. Signal handlers read it, so it changes in an order in
// which it is always true.
class Console {
public:
  constexpr Console() noexcept = default;
  Console(Console const &) = delete;
  Console &operator=(Console const &) = delete;
  // At the end of the process another thread may be waiting for a key.
  ~Console() { restore(); }

  // Switches to single keys for the first of those who call. False without a terminal.
  bool enter();
  // Switches back for the last.
  void leave() noexcept;

  // Both are allowed in a signal handler.
  void restore() noexcept;
  void switch_to_keys() noexcept;

  // For as long as the caller is between enter and leave.
  int descriptor() const noexcept { return descriptor_; }
  bool is_exchanged() const noexcept { return is_exchanged_; }

private:
  bool open_terminal() noexcept;
  void forget_parent() noexcept;
  void take_signals() noexcept;
  void give_signals_back() noexcept;

  pthread_mutex_t guard_ = PTHREAD_MUTEX_INITIALIZER;
  int users_ = 0;             // guarded by guard_
  int descriptor_ = -1;       // changes without users only
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
    tcsetattr(descriptor_, TCSANOW, &before_);
    is_switched_ = false;
  }
}

void Console::switch_to_keys() noexcept {
  if (process_ == getpid()) {
    is_switched_ = true;
    tcsetattr(descriptor_, TCSANOW, &during_);
  }
}

// Only the thread that forked is left in a child, and that one is not in a call.
void Console::forget_parent() noexcept {
  if (users_ > 0 && process_ != getpid()) {
    ::close(descriptor_);
    users_ = 0;
    is_switched_ = false;
  }
}

bool Console::enter() {
  pthread_mutex_lock(&guard_);
  forget_parent();
  bool const is_ready = users_ > 0 || open_terminal();
  if (is_ready && users_++ == 0) {
    take_signals();
    process_ = getpid();
    switch_to_keys();
  }
  pthread_mutex_unlock(&guard_);
  return is_ready;
}

void Console::leave() noexcept {
  pthread_mutex_lock(&guard_);
  if (--users_ == 0) {
    restore();
    process_ = 0;
    give_signals_back();
    ::close(descriptor_);
    descriptor_ = -1;
  }
  pthread_mutex_unlock(&guard_);
}

bool Console::open_terminal() noexcept {
  descriptor_ = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
  if (descriptor_ == -1) {
    return false;
  }
  if (tcgetattr(descriptor_, &before_) != 0) {
    ::close(descriptor_);
    descriptor_ = -1;
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

// A signal that the program handles or ignores is the program's.
void Console::take_signals() noexcept {
  for (int const signal : ENDING_SIGNALS) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
        action.sa_handler == SIG_DFL) {
      action.sa_handler = end_or_stop;
      action.sa_flags = SA_RESTART | SA_ONSTACK;
      sigaction(signal, &action, nullptr);
    }
  }
}

void Console::give_signals_back() noexcept {
  for (int const signal : ENDING_SIGNALS) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
        action.sa_handler == end_or_stop) {
      action.sa_handler = SIG_DFL;
      sigaction(signal, &action, nullptr);
    }
  }
}

// Lets the system do with the signal what it would have done, with the terminal restored. It comes
// back only from a signal that stopped the process, when that goes on.
void end_or_stop(int signal) {
  int const error = errno;
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
  SingleKeys() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
    is_there_ = console.enter();
  }
  SingleKeys(SingleKeys const &) = delete;
  SingleKeys &operator=(SingleKeys const &) = delete;
  ~SingleKeys() {
    if (is_there_) {
      console.leave();
    }
    pthread_setcancelstate(cancel_state_, nullptr);
  }

  bool is_there() const noexcept { return is_there_; }

  // Waits for one byte; -1 after a hang-up. Not noexcept: the thread may be cancelled meanwhile.
  int read_byte() const;

private:
  bool is_there_ = false;
  int cancel_state_ = PTHREAD_CANCEL_ENABLE;
};

int SingleKeys::read_byte() const {
  unsigned char byte = 0;
  ssize_t count = -1;
  pthread_setcancelstate(cancel_state_, nullptr);
  do {
    count = read(console.descriptor(), &byte, 1);
  } while (count == -1 && errno == EINTR);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  return count == 1 ? byte : -1;
}

int key_of(int byte) {
  if (byte == -1) {
    return ENTER;
  }
  if (console.is_exchanged() && (byte == '\n' || byte == ENTER)) {
    return byte == '\n' ? ENTER : '\n';
  }
  return byte;
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
  int const key = key_of(byte);
  if (byte != -1) {
    echo(key);
  }
  return key;
}
