// SPDX-License-Identifier: Apache-2.0
// Processes that use named mutexes are killed: while they hold one, and at any time.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned int HANG_S = 30;

using Mutex = std::unique_ptr<Win32Mutex>;

Mutex get_mutex(std::string const &name, bool open_existing) {
  unsigned long result = RESULT_FAILURE;
  auto mutex = std::make_unique<Win32Mutex>(false, name.c_str(), open_existing, nullptr, &result);
  if (result != RESULT_SUCCESS) {
    mutex.reset();
  }
  return mutex;
}

Mutex create(std::string const &name) {
  return get_mutex(name, /*open_existing=*/false);
}

Mutex open_existing(std::string const &name) {
  return get_mutex(name, /*open_existing=*/true);
}

bool exists(std::string const &name) {
  Mutex const found = open_existing(name);
  return found != nullptr;
}

std::string unique(char const *name) {
  return std::string("torture ") + name + " of " + std::to_string(getpid());
}

// A forked process that does some work and reports its progress once.
class Copy {
public:
  explicit Copy(std::function<void(Copy const &)> const &work) {
    if (pipe(pipe_.data()) != 0) {
      std::abort();
    }
    id_ = fork();
    if (id_ == 0) {
      alarm(HANG_S);
      work(*this);
      _exit(0);
    }
    close(pipe_[1]);
  }
  Copy(Copy const &) = delete;
  Copy &operator=(Copy const &) = delete;
  ~Copy() { close(pipe_[0]); }

  void report() const { [[maybe_unused]] ssize_t const count = write(pipe_[1], "x", 1); }

  // False if it ended before.
  bool wait_for_report() const {
    char byte = 0;
    return read(pipe_[0], &byte, 1) == 1;
  }

  // Returns as `end`: minus SIGKILL, unless it ended before.
  int kill_it() const {
    kill(id_, SIGKILL);
    return end();
  }

  // Waits for its end.
  // @return its exit status, or minus the signal that ended it.
  int end() const {
    int status = 0;
    waitpid(id_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

private:
  std::array<int, 2> pipe_ = {};
  pid_t id_ = -1;
};

// The owner of a mutex is killed while another process uses it; in every second round that process
// waits for it, and is interrupted by a signal.
void kill_owner(Torture &torture) {
  struct sigaction interrupting = {}; // does not restart system calls
  interrupting.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interrupting, nullptr);
  std::string const name = unique("owner");
  Mutex const mutex = create(name);
  for (unsigned int i = 0; i < rounds(1000); ++i) {
    alarm(HANG_S);
    Copy const owner([&name](Copy const &self) {
      Mutex const mine = open_existing(name);
      if (mine != nullptr && mine->acquire() && (getpid() % 2 == 0 || mine->acquire())) {
        self.report();
        pause();
      }
    });
    if (!owner.wait_for_report()) {
      torture.fault("owner %u does not get the mutex", i);
    }
    std::atomic<bool> is_first_refused{false};
    auto const meet = [&mutex, &is_first_refused] { is_first_refused = !mutex->acquire(); };
    std::thread waiter = i % 2 == 0 ? std::thread(meet) : std::thread();
    if (waiter.joinable()) {
      usleep(100);
      pthread_kill(waiter.native_handle(), SIGUSR1);
    }
    int const status = owner.kill_it();
    if (status != -SIGKILL) {
      torture.fault("owner %u was not killed, but ended with %d", i, status);
    }
    waiter.joinable() ? waiter.join() : meet();
    if (!is_first_refused || !mutex->acquire() || !mutex->release() || mutex->release()) {
      torture.fault("owner %u is dead: the next acquire is %s", i,
                    is_first_refused ? "false, as it must be, but the one after it no better"
                                     : "true");
    }
  }
}

// The last user ends or is killed: the mutex is removed, and a new one is free.
void lose_last_user(Torture &torture) {
  enum Way { KILLED, KILLED_INSIDE, EXITS, CLOSES, WAYS };
  std::string const name = unique("last user");
  for (unsigned int i = 0; i < rounds(1000); ++i) {
    alarm(HANG_S);
    auto const way = static_cast<Way>(i % WAYS);
    Copy const user([&name, way](Copy const &self) {
      Mutex const mine = create(name);
      if (mine == nullptr || (way != KILLED && !mine->acquire())) {
        return;
      }
      self.report();
      if (way == EXITS) {
        _exit(0); // holds the mutex, and has closed nothing
      }
      if (way != CLOSES) {
        pause();
      }
    });
    if (!user.wait_for_report()) {
      torture.fault("user %u does not get the mutex", i);
    }
    bool const is_killed = way == KILLED || way == KILLED_INSIDE;
    int const status = is_killed ? user.kill_it() : user.end();
    if (status != (is_killed ? -SIGKILL : 0)) {
      torture.fault("user %u ended with %d", i, status);
    }
    if (exists(name)) {
      torture.fault("the mutex still exists after its last user %u", i);
    }
    Mutex const anew = create(name);
    if (anew == nullptr || !anew->acquire() || !anew->release()) {
      torture.fault("the mutex cannot be created anew after user %u", i);
    }
  }
}

// A user is killed at any time, also while it creates, opens, acquires, releases and closes.
void kill_anywhere(Torture &torture) {
  enum { NOT_MADE = 1, NOT_TAKEN };
  constexpr unsigned int LONGEST_US = 1000;
  static std::minstd_rand random(1); // the same in each run
  std::string const name = unique("anywhere");
  for (unsigned int i = 0; i < rounds(1000); ++i) {
    alarm(HANG_S);
    Copy const user([&name](Copy const &self) {
      self.report();
      for (;;) {
        Mutex const mine = create(name), other = create(name + " too");
        if (mine == nullptr || other == nullptr) {
          _exit(NOT_MADE);
        }
        if (!(mine->acquire() || mine->acquire()) || !mine->release()) {
          _exit(NOT_TAKEN);
        }
      }
    });
    bool const has_begun = user.wait_for_report();
    Mutex here; // in every second round this process uses it as well
    if (i % 2 == 0) {
      here = create(name);
    }
    usleep(static_cast<useconds_t>(random() % LONGEST_US));
    int const status = user.kill_it();
    if (!has_begun || status != -SIGKILL) {
      torture.fault("user %u was not killed, but ended with %d", i, status);
    }
    Mutex const mutex = create(name);
    if (mutex == nullptr || !(mutex->acquire() || mutex->acquire()) || !mutex->release()) {
      torture.fault("user %u was killed, and the mutex cannot be taken", i);
    }
  }
  if (exists(name) || exists(name + " too")) {
    torture.fault("a mutex is left of a process that was killed");
  }
}

// --- Other users ------------------------------------------------------------------------------

constexpr uid_t OTHER_USER = 54321; // not used on this machine

std::string directory_of_other() {
  return "/dev/shm/ostrel-mutexes-" + std::to_string(OTHER_USER);
}

bool become_other() {
  return setgid(OTHER_USER) == 0 && setuid(OTHER_USER) == 0;
}

// Exits with 0 if the user finds no mutex of that name and can create one.
Role const own_role("own", [](Role::Arguments const &arguments) {
  if (!become_other()) {
    return 2;
  }
  Mutex const none = open_existing(arguments[0]), own = create(arguments[0]);
  return none == nullptr && own != nullptr && own->acquire() && own->release() ? 0 : 1;
});

// Exits with 0 if the user can neither open nor create a mutex of that name.
Role const none_role("none", [](Role::Arguments const &arguments) {
  if (!become_other()) {
    return 2;
  }
  Mutex const created = create(arguments[0]);
  return created == nullptr && !exists(arguments[0]) ? 0 : 1;
});

// Creates the mutex and replaces its file by a link to another file.
Role const link_role("link", [](Role::Arguments const &arguments) {
  if (!become_other()) {
    return 2;
  }
  Mutex mutex = create(arguments[0]);
  if (mutex == nullptr) {
    return 1;
  }
  auto const file = std::filesystem::directory_iterator(directory_of_other())->path();
  mutex.reset();
  std::filesystem::create_symlink(arguments[1], file);
  return 0;
});

struct Trap {
  char const *what;
  void (*plant)(std::string const &place, std::string const &elsewhere);
};

void make_directory(std::string const &path, uid_t owner, mode_t mode) {
  mkdir(path.c_str(), mode);
  [[maybe_unused]] int const done = chown(path.c_str(), owner, owner);
  chmod(path.c_str(), mode);
}

constexpr Trap TRAPS[] = {
    {"through a link to a directory of his own",
     [](std::string const &place, std::string const &elsewhere) {
       make_directory(elsewhere, OTHER_USER, 0700);
       std::filesystem::create_directory_symlink(elsewhere, place);
     }},
    {"in a directory of another user",
     [](std::string const &place, std::string const & /*elsewhere*/) {
       make_directory(place, geteuid(), 0777);
     }},
    {"in a directory that others may write",
     [](std::string const &place, std::string const & /*elsewhere*/) {
       make_directory(place, OTHER_USER, 0722);
     }},
};

// Root acts as two users, and as an intruder that puts files where the mutexes of one of them are.
void keep_others_out(Torture &torture) {
  std::string const name = unique("private");
  Mutex const mine = create(name);
  mine->acquire();
  std::filesystem::remove_all(directory_of_other());
  if (run_child("own", {name}).status != 0) {
    torture.fault("another user finds this user's mutex, or cannot create one");
  }
  mine->release();

  TemporaryDirectory const elsewhere;
  std::filesystem::permissions(elsewhere.path(), std::filesystem::perms::all);
  for (Trap const &trap : TRAPS) {
    std::filesystem::remove_all(directory_of_other());
    trap.plant(directory_of_other(), elsewhere.path("his"));
    if (run_child("none", {name}).status != 0) {
      torture.fault("a mutex is made %s", trap.what);
    }
  }
  std::filesystem::remove_all(directory_of_other());

  std::string const target = elsewhere.path("target");
  write_file(target, "as it was");
  std::filesystem::permissions(target, std::filesystem::perms::all);
  if (run_child("link", {name, target}).status != 0 || run_child("none", {name}).status != 0 ||
      read_file(target) != "as it was") {
    torture.fault("a mutex is made through a link in the place of its file");
  }
  std::filesystem::remove_all(directory_of_other());
}

} // namespace

int torture() {
  Torture torture("A mutex can be acquired after its owner died");
  kill_owner(torture);
  lose_last_user(torture);
  kill_anywhere(torture);
  bool const is_root = geteuid() == 0;
  if (is_root) {
    keep_others_out(torture);
  }
  return torture.row("%u owners, last users and users anywhere killed; %s", rounds(1000),
                     is_root ? "other users kept out, links not followed"
                             : "other users not tried, which takes root");
}
