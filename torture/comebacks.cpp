// SPDX-License-Identifier: Apache-2.0
// Descriptors, memory, room on the disk and permissions are missing at each step of the first use
// of settings, logs, named mutexes and libraries, and come back. Each time in a process of its own.
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/FailingMalloc.hpp"
#include "torture/support/SystemCalls.hpp"
#include "torture/support/Torture.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned int CHILD_LIMIT_S = 20;

// --- What is missing --------------------------------------------------------------------------

struct Fault {
  char const *name;
  int error; // 0: an allocation of the process fails instead of a system call
  bool lasts;
};

constexpr Fault FAULTS[] = {{"no descriptor", EMFILE, false}, {"no descriptors", EMFILE, true},
                            {"a full table", ENFILE, true},   {"no kernel memory", ENOMEM, false},
                            {"a bad disk", EIO, false},       {"a dead disk", EIO, true},
                            {"a full disk", ENOSPC, true},    {"no permission", EACCES, false},
                            {"no memory", 0, false},          {"no memory at all", 0, true}};

// Whether the system has that error for the call, as POSIX.1-2017 and Linux say.
bool can_fail_with(SystemCall const &call, int error) {
  constexpr int FLAGS = 2; // the argument of openat
  int const number = call.number;
  bool const creates = number == SYS_openat && (call.arguments[FLAGS] & O_CREAT) != 0;
  bool const makes_descriptor = number == SYS_openat || number == SYS_socket;
  switch (error) {
  case EMFILE:
  case ENFILE:
    return makes_descriptor;
  case ENOSPC:
    return creates || number == SYS_write || number == SYS_fsync || number == SYS_rename ||
           number == SYS_renameat;
  case EACCES:
    return number == SYS_openat;
  default:
    return number != SYS_close && number != SYS_gettid;
  }
}

// --- What is used for the first time ----------------------------------------------------------

// What the process that fails has to say in the end: null for nothing.
using Complaint = char const *;

class FirstUse {
public:
  explicit FirstUse(Fault const &fault) : fault_(fault) {}
  FirstUse(FirstUse const &) = delete;
  FirstUse &operator=(FirstUse const &) = delete;
  virtual ~FirstUse() = default;

  virtual void use() = 0;        // while something is missing
  virtual Complaint again() = 0; // when all is back

protected:
  // Without the permission another file may be taken, and a log stays closed, as documented.
  bool lacks_permission() const { return fault_.error == EACCES; }

private:
  Fault const &fault_;
};

// One that has nothing to do with logging, and leaves its warnings out.
class Silent : public FirstUse {
public:
  explicit Silent(Fault const &fault) : FirstUse(fault) {
    LoggingCategory::set_root_priority(LoggingPriority::LEVEL_DISABLED);
  }
};

// The first of two directories has the settings.
class Settings : public Silent {
public:
  explicit Settings(Fault const &fault) : Silent(fault) {
    write_file(own_, FILE_TEXT);
    write_file(other_, OTHER_TEXT);
    std::string const path = directory_.path("own") + ";" + directory_.path("other");
    setenv("OSTREL_CONFIG_PATH", path.c_str(), 1);
  }

  void use() override {
    std::string text;
    is_read_ = UserConfig::get_user_config("UserConfig/A/v", &text) == RESULT_SUCCESS;
    is_right_ = text == "own";
    is_set_ = UserConfig::set_user_config("UserConfig/A/w", "kept", true) == RESULT_SUCCESS;
  }

  Complaint again() override {
    std::string text;
    if (UserConfig::set_user_config("UserConfig/A/x", "again", true) != RESULT_SUCCESS ||
        UserConfig::get_user_config("UserConfig/A/v", &text) != RESULT_SUCCESS) {
      return "the settings do not come back";
    }
    if (lacks_permission()) {
      return nullptr;
    }
    std::string const own = read_file(own_);
    if (read_file(other_) != OTHER_TEXT || (is_read_ && !is_right_) || text != "own") {
      return "another file is taken";
    }
    bool const is_there = own.find("x=\"again\"") != own.npos;
    return is_there && (!is_set_ || own.find("w=\"kept\"") != own.npos)
               ? nullptr
               : "what was set is not in the file";
  }

private:
  static constexpr char FILE_TEXT[] = "<UserConfig><A v='own'/></UserConfig>";
  static constexpr char OTHER_TEXT[] = "<UserConfig><A v='other'/></UserConfig>";

  TemporaryDirectory directory_;
  std::string const own_ = directory_.path("own/user-config.xml");
  std::string const other_ = directory_.path("other/user-config.xml");
  bool is_read_ = false, is_right_ = false, is_set_ = false;
};

// The directory that the registry names has them.
class Registered : public Settings {
public:
  explicit Registered(Fault const &fault) : Settings(fault) {
    unsetenv("OSTREL_CONFIG_PATH");
    std::string const file = directory_.path("registry.reg");
    write_file(file, registry_file("\"InstallPath\"=\"" + directory_.path() + "\"\n"));
    write_file(config_, "<UserConfig><A v='own'/></UserConfig>");
    setenv("OSTREL_REGISTRY_FILE", file.c_str(), 1);
  }

  Complaint again() override {
    std::string text;
    if (UserConfig::set_user_config("UserConfig/A/x", "again", true) != RESULT_SUCCESS) {
      return "the settings do not come back";
    }
    bool const is_there = read_file(config_).find("x=\"again\"") != std::string::npos;
    return is_there || lacks_permission() ? nullptr : "the registered file is not taken";
  }

private:
  TemporaryDirectory directory_;
  std::string const config_ = directory_.path("config/user-config.xml");
};

class Logs : public FirstUse {
public:
  explicit Logs(Fault const &fault) : FirstUse(fault) {
    setenv("OSTREL_LOG_PRIORITY", "comebacks,WARN", 1);
    setenv("OSTREL_LOG_OUTPUT", file_.c_str(), 1);
  }

  void use() override { LoggingCategory::get_instance("comebacks").warn("first"); }

  // An opening that failed is tried again at most once a second.
  Complaint again() override {
    constexpr int LONGEST_MS = 2000, PAUSE_MS = 50;
    for (int waited_ms = 0; waited_ms < LONGEST_MS; waited_ms += PAUSE_MS) {
      LoggingCategory::get_instance("comebacks").warn("again");
      if (read_file(file_).find("WARN  - again\n") != std::string::npos || lacks_permission()) {
        return nullptr;
      }
      Platform::millisecond_sleep(PAUSE_MS);
    }
    return "the log does not come back";
  }

private:
  TemporaryDirectory directory_;
  std::string const file_ = directory_.path("log");
};

class NamedMutex : public Silent {
public:
  using Silent::Silent;

  void use() override {
    Win32Mutex mutex(false, name_.c_str(), false, nullptr, nullptr);
    if (mutex.acquire()) {
      mutex.release();
    }
  }

  Complaint again() override {
    Win32Mutex made(false, name_.c_str(), false, nullptr, nullptr);
    Win32Mutex opened(false, name_.c_str(), true, nullptr, nullptr);
    bool const is_had = made.acquire() && opened.acquire() && opened.release() && made.release();
    return is_had ? nullptr : "the mutex does not come back";
  }

private:
  std::string const name_ = "comebacks " + std::to_string(getpid());
};

class Library : public Silent {
public:
  explicit Library(Fault const &fault) : Silent(fault) {
    std::filesystem::copy_file(PLUGIN_FILE, directory_.path("comeback.so"));
    setenv("OSTREL_LIBRARY_PATH", directory_.path().c_str(), 1);
  }

  void use() override { load(); }
  Complaint again() override { return load() ? nullptr : "the library does not come back"; }

private:
  static bool load() {
    ISharedLibrary *const library = Platform::create_shared_library();
    if (library == nullptr) {
      return false;
    }
    bool const is_loaded = library->set_name("comeback") == RESULT_SUCCESS &&
                           library->load() == RESULT_SUCCESS && library->unload() == RESULT_SUCCESS;
    library->remove_ref();
    return is_loaded;
  }

  TemporaryDirectory directory_;
};

template <class Use> std::unique_ptr<FirstUse> make(Fault const &fault) {
  return std::make_unique<Use>(fault);
}

struct Kind {
  char const *name;
  std::unique_ptr<FirstUse> (*make)(Fault const &fault);
};

constexpr Kind KINDS[] = {{"settings", make<Settings>},
                          {"registered settings", make<Registered>},
                          {"log", make<Logs>},
                          {"named mutex", make<NamedMutex>},
                          {"library", make<Library>}};

// --- One process ------------------------------------------------------------------------------

// Has that step of the first use fail, and perhaps all after it.
// @return whether there was such a step.
bool fail_step(FirstUse &first, Fault const &fault, unsigned int step) {
  if (fault.error == 0) {
    FailingMalloc::plan(fault.lasts ? FailingMalloc::Failures::ALL : FailingMalloc::Failures::ONE,
                        step);
    FailingMalloc::strain([&first] { first.use(); });
    bool const has_failed = FailingMalloc::failed() != 0;
    FailingMalloc::plan(FailingMalloc::Failures::NONE, 0);
    return has_failed;
  }
  unsigned int met = 0;
  judge_system_calls([&first] { first.use(); },
                     [&](unsigned int, SystemCall const &call) {
                       if (!can_fail_with(call, fault.error)) {
                         return Verdict();
                       }
                       unsigned int const index = met++;
                       bool const fails = fault.lasts ? index >= step : index == step;
                       return fails ? Verdict{fault.error, false} : Verdict();
                     });
  return met > step;
}

enum Status : int { HELD, NOT_HELD, NO_SUCH_STEP };

Status run_step(Torture &torture, Kind const &kind, Fault const &fault, unsigned int step) {
  pid_t const child = fork();
  if (child == 0) {
    alarm(CHILD_LIMIT_S);
    std::unique_ptr<FirstUse> first = kind.make(fault);
    bool const is_met = fail_step(*first, fault, step);
    Complaint const complaint = first->again();
    if (complaint != nullptr) {
      torture.fault("%s, %s in step %u: %s", kind.name, fault.name, step, complaint);
    }
    first.reset();
    _exit(complaint != nullptr ? NOT_HELD : is_met ? HELD : NO_SUCH_STEP);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status)) {
    torture.fault("%s, %s in step %u: status %d", kind.name, fault.name, step, status);
    return NOT_HELD;
  }
  return static_cast<Status>(WEXITSTATUS(status));
}

} // namespace

int torture() {
  Torture torture("What was missing comes back");
  unsigned int const stride = 100 / rounds(100) < 10 ? 1 : 10; // the quick run takes every tenth
  unsigned long done = 0, failed = 0;
  for (Kind const &kind : KINDS) {
    for (Fault const &fault : FAULTS) {
      for (unsigned int step = 0;; step += stride) {
        Status const status = run_step(torture, kind, fault, step);
        if (status == NO_SUCH_STEP) {
          break;
        }
        ++done;
        if (status == NOT_HELD && ++failed == 20) { // then it is known
          return torture.row("%lu failures", done);
        }
      }
    }
  }
  return torture.row(
      "%lu processes in whose first use of settings, logs, named mutexes and libraries "
      "descriptors, memory, room or permissions failed and came back",
      done);
}
