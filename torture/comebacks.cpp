// SPDX-License-Identifier: Apache-2.0
// Each step of the first use of a subsystem fails for lack of descriptors, memory, disk space or
// permissions. The same calls, made again in the same process without the shortage, then succeed on
// the right file, and the effects of earlier successes remain.
//
// Each round runs in a process forked from this one, which never uses these subsystems.
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ILoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/FailingMalloc.hpp"
#include "torture/support/SystemCalls.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr unsigned int LONGEST_ROUND_S = 20;
constexpr unsigned int NEVER = std::numeric_limits<unsigned int>::max();

// --- Failures ---------------------------------------------------------------------------------

bool is_one_of(int number, std::initializer_list<int> numbers) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool opens(SystemCall const &call) {
  return call.number == SYS_openat;
}

bool makes_descriptor(SystemCall const &call) {
  return opens(call) || (call.number == SYS_fcntl && call.arguments[1] == F_DUPFD_CLOEXEC);
}

bool needs_room(SystemCall const &call) {
  return opens(call) ? (call.arguments[2] & O_CREAT) != 0
                     : is_one_of(call.number, {SYS_write, SYS_pwrite64, SYS_fsync, SYS_ftruncate,
                                               SYS_fsetxattr, SYS_mkdir, SYS_rename, SYS_renameat});
}

// According to POSIX.1-2017 the others do not fail with these errors.
bool can_fail(SystemCall const &call) {
  return !is_one_of(call.number, {SYS_getuid, SYS_geteuid, SYS_getgid, SYS_getegid, SYS_umask});
}

struct Shortage {
  char const *name;
  int error;
  bool (*strikes)(SystemCall const &call); // null: allocations fail instead of system calls
};

constexpr Shortage SHORTAGES[] = {
    {"EMFILE", EMFILE, makes_descriptor}, {"ENFILE", ENFILE, makes_descriptor},
    {"ENOMEM", ENOMEM, can_fail},         {"EIO", EIO, can_fail},
    {"ENOSPC", ENOSPC, needs_room},       {"EACCES", EACCES, opens},
    {"lack of memory", 0, nullptr}};

// The step that fails: the one after `count` others that the shortage affects.
struct Plan {
  Shortage const &shortage;
  unsigned int count;
  bool lasts; // all later steps of the first use fail as well
};

// @return the number of failed steps.
template <class Action> unsigned int run_short(Plan const &plan, Action const &action) {
  if (plan.shortage.strikes == nullptr) {
    using FailingMalloc::Failures;
    FailingMalloc::plan(plan.lasts ? Failures::ALL : Failures::ONE, plan.count);
    FailingMalloc::strain(action);
    FailingMalloc::plan(Failures::NONE, 0);
    return static_cast<unsigned int>(FailingMalloc::failed());
  }
  unsigned int struck = 0, failed = 0;
  judge_system_calls(action, [&](unsigned int, SystemCall const &call) {
    if (!plan.shortage.strikes(call)) {
      return Verdict();
    }
    unsigned int const index = struck++;
    bool const fails = plan.lasts ? index >= plan.count : index == plan.count;
    failed += fails ? 1 : 0;
    return Verdict{fails ? plan.shortage.error : 0, false};
  });
  return failed;
}

// --- One round --------------------------------------------------------------------------------

// The report of a round, in memory that its process shares with this one.
struct Report {
  unsigned int failed;
  std::ptrdiff_t descriptors; // open at the end
  char fault[256];            // the first; empty for none
};

Report *const report =
    static_cast<Report *>(mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE,
                               MAP_SHARED | MAP_ANONYMOUS, /*fd=*/-1, /*offset=*/0));

bool require(bool holds, char const *what) {
  if (!holds && report->fault[0] == '\0') {
    std::snprintf(report->fault, sizeof report->fault, "%s", what);
  }
  return holds;
}

// The first and the second use of a subsystem, with files in a fresh directory. The constructor
// sets the environment that the subsystem reads.
class Scenario {
public:
  Scenario() = default;
  Scenario(Scenario const &) = delete;
  Scenario &operator=(Scenario const &) = delete;
  virtual ~Scenario() = default;

  virtual void use() = 0;
  virtual void use_again() = 0;
};

struct Kind {
  char const *name;
  // `error`: of the system calls that fail; 0 if allocations fail.
  std::unique_ptr<Scenario> (*make)(std::string const &directory, int error);
};

void play(Kind const &kind, Plan const &plan, std::string const &directory) {
  alarm(LONGEST_ROUND_S);
  std::freopen("/dev/null", "w", stderr); // for the library's warnings
  auto const scenario = kind.make(directory, plan.shortage.error);
  report->failed = run_short(plan, [&] { scenario->use(); });
  scenario->use_again();
  report->descriptors = count_entries("/proc/self/fd");
}

// --- Settings ---------------------------------------------------------------------------------

constexpr char SETTING[] = "UserConfig/K/v";

std::string settings_file(char const *value) {
  return std::string("<UserConfig>\n  <K v=\"") + value + "\"/>\n</UserConfig>\n";
}

// A saved file begins with an XML declaration.
bool holds_value(std::string const &path, char const *value) {
  std::string const text = read_file(path), end = settings_file(value);
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Two settings files: a failure must not lead from the first to the second. Without permission for
// the first, the second is used for the life of the process; without permission for both, none. The
// text that was read shows the file.
class Settings : public Scenario {
public:
  Settings(std::string const &directory, int error)
      : first_(directory + "/first/config"), second_(directory + "/second"),
        permitted_(error != EACCES) {
    write_file(first_ + "/user-config.xml", settings_file("first"));
    write_file(second_ + "/user-config.xml", settings_file("second"));
    std::string const registry = directory + "/registry.reg";
    write_file(registry, registry_file("\"InstallPath\"=\"" + directory + "/first\"\n"));
    setenv("OSTREL_REGISTRY_FILE", registry.c_str(), 1);
    setenv("OSTREL_CONFIG_PATH", (first_ + ";" + second_).c_str(), 1);
  }

  void use() override {
    read();
    commit();
  }

  void use_again() override {
    bool const is_read = get_result_ == RESULT_SUCCESS, is_set = set_result_ == RESULT_SUCCESS;
    bool const is_passed_over = !permitted_ && text_ == "second";
    bool const has_file = permitted_ || !text_.empty();
    char const *const before = !has_file ? "" : is_passed_over ? "second" : "first";
    std::string const file = (is_passed_over ? second_ : first_) + "/user-config.xml";
    std::string text;
    bool const holds =
        require(is_documented(get_result_) && is_documented(set_result_), "undocumented result") &&
        require(!is_read || text_ == before, "another file was read") &&
        require(!has_file || holds_value(file, is_set ? "during" : before) ||
                    (!is_set && holds_value(file, "during")),
                "the file does not hold what was set") &&
        require(UserConfig::get_user_config(SETTING, &text) == RESULT_SUCCESS,
                "cannot be read again") &&
        require(text == (is_set ? "during" : before) || (!is_read && text == "during"),
                "another text is read again");
    // Otherwise the settings may come from a file outside the directory, which must not change.
    if (holds) {
      require(UserConfig::set_user_config(SETTING, "after", /*commit=*/true) == RESULT_SUCCESS,
              "cannot be set again");
      require(!has_file || holds_value(file, "after"), "the file does not hold what was set again");
    }
    require(is_passed_over || holds_value(second_ + "/user-config.xml", "second"),
            "another file was changed");
    require(!is_passed_over || holds_value(first_ + "/user-config.xml", "first"),
            "the file that was passed over was changed");
  }

protected:
  void read() { get_result_ = UserConfig::get_user_config(SETTING, &text_); }
  void commit() { set_result_ = UserConfig::set_user_config(SETTING, "during", /*commit=*/true); }
  bool has_read_first() const { return text_ == "first"; }

private:
  static bool is_documented(unsigned long result) {
    return result == RESULT_SUCCESS || result == RESULT_FAILURE || result == RESULT_OUT_OF_MEMORY ||
           result == RESULT_ACQUISITION_ERROR;
  }

  std::string const first_, second_;
  bool const permitted_;
  std::string text_;
  unsigned long get_result_ = RESULT_FAILURE, set_result_ = RESULT_FAILURE;
};

// The registry file names the first directory; the current directory is the second. A fault would
// lead to the build-time default directory, so the round commits only if it has read the first
// file.
class RegistrySettings : public Settings {
public:
  RegistrySettings(std::string const &directory, int error) : Settings(directory, error) {
    std::filesystem::current_path(directory + "/second");
    unsetenv("OSTREL_CONFIG_PATH");
  }

  void use() override {
    read();
    if (has_read_first()) {
      commit();
    }
  }
};

// --- Logs -------------------------------------------------------------------------------------

// Without permission for the file, nothing is written until `re_open`.
class Log : public Scenario {
public:
  Log(std::string const &directory, int error)
      : file_(directory + "/lines.log"), permitted_(error != EACCES) {
    setenv("OSTREL_LOG_PRIORITY", "Torture.Comebacks,INFO", 1);
    setenv("OSTREL_LOG_OUTPUT", file_.c_str(), 1);
  }

  void use() override {
    category().info("first");
    category().info("second");
  }

  void use_again() override {
    ILoggingOutput *const output = category().get_logging_output();
    if (!require(output != nullptr, "not set up again")) {
      return;
    }
    bool const is_written = read_file(file_).find("second\n") != std::string::npos;
    require(is_written || report->failed > 0, "no line without a failure");
    if (!permitted_) {
      output->re_open();
    }
    // After a failure the output retries at most once a second.
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    bool is_again = false;
    while (!is_again && std::chrono::steady_clock::now() < end) {
      category().info("again");
      std::string const text = read_file(file_);
      is_again = text.find("INFO  - again\n") != std::string::npos;
      usleep(is_again ? 0 : PAUSE_US);
    }
    require(is_again, "no line again");
  }

private:
  static constexpr useconds_t PAUSE_US = 10000;

  static LoggingCategory &category() { return LoggingCategory::get_instance("Torture.Comebacks"); }

  std::string const file_;
  bool const permitted_;
};

// --- Named mutexes ----------------------------------------------------------------------------

// The result of opening or creating a mutex.
class NamedMutex {
public:
  NamedMutex(std::string const &name, bool open_existing)
      : mutex_(false, name.c_str(), open_existing, nullptr, &result_) {}

  unsigned long result() const { return result_; }
  bool can_be_owned() { return mutex_.acquire() && mutex_.release(); }

private:
  unsigned long result_ = RESULT_FAILURE; // before the mutex, which sets it
  Win32Mutex mutex_;
};

Role const open_mutex("open-mutex", [](Role::Arguments const &arguments) {
  NamedMutex mutex(arguments[0], /*open_existing=*/true);
  return mutex.result() == RESULT_SUCCESS && mutex.can_be_owned() ? 0 : 1;
});

class Mutexes : public Scenario {
public:
  Mutexes(std::string const & /*directory*/, int /*error*/)
      : name_("torture comebacks " + std::to_string(getpid())) {}

  void use() override {
    created_.emplace(name_, /*open_existing=*/false);
    is_owned_ = created_->can_be_owned();
    opened_.emplace(name_, /*open_existing=*/true);
  }

  void use_again() override {
    bool const is_created = created_->result() == RESULT_SUCCESS;
    require(is_created || created_->result() == RESULT_SYSTEM_ERROR, "undocumented result");
    require(is_created || !is_owned_, "a mutex that was not created is owned");
    require((opened_->result() == RESULT_SUCCESS) == is_created, "opened other than created");
    if (is_owned_) {
      created_->can_be_owned(); // fails once if the release could not clear the owner's record
    }
    require(!is_created || is_usable(*created_), "what was created is not there");
    opened_.reset();
    created_.reset();
    require(run_child("open-mutex", {name_}).status != 0, "closed, but there");
    NamedMutex again(name_, /*open_existing=*/false);
    require(again.result() == RESULT_SUCCESS && is_usable(again), "cannot be created again");
  }

private:
  bool is_usable(NamedMutex &mutex) const {
    return mutex.can_be_owned() && run_child("open-mutex", {name_}).status == 0;
  }

  std::string const name_;
  std::optional<NamedMutex> created_, opened_;
  bool is_owned_ = false;
};

// --- Libraries --------------------------------------------------------------------------------

// Two libraries of the same name along the path: the first must be loaded.
class Library : public Scenario {
public:
  Library(std::string const &directory, int /*error*/) : first_(directory + "/first") {
    std::string const second = directory + "/second";
    for (std::string const &place : {first_, second}) {
      std::filesystem::create_directory(place);
      std::filesystem::copy_file(PLUGIN_FILE, place + "/plugin.so");
    }
    setenv("OSTREL_LIBRARY_PATH", (first_ + ";" + second).c_str(), 1);
    setenv("PATH", PATH, 1);
  }
  Library(Library const &) = delete;
  Library &operator=(Library const &) = delete;
  ~Library() override {
    if (library_ != nullptr) {
      library_->remove_ref();
    }
  }

  void use() override {
    result_ = RESULT_OUT_OF_MEMORY;
    library_ = Platform::create_shared_library();
    if (library_ != nullptr && library_->set_name("plugin") == RESULT_SUCCESS) {
      result_ = library_->load();
    }
  }

  void use_again() override {
    require(result_ == RESULT_SUCCESS || result_ == RESULT_NOT_FOUND ||
                result_ == RESULT_OUT_OF_MEMORY,
            "undocumented result");
    std::string path;
    require(Platform::get_environment_variable("PATH", &path) && path == PATH,
            "PATH is not restored");
    require(result_ != RESULT_SUCCESS || is_first_loaded(), "another file was loaded");
    if (library_ != nullptr) {
      library_->remove_ref();
    }
    use();
    require(result_ == RESULT_SUCCESS && is_first_loaded(), "cannot be loaded again");
  }

private:
  static constexpr char PATH[] = "/nowhere";

  bool is_first_loaded() const {
    void *symbol = nullptr;
    Dl_info place = {};
    return library_->get_symbol("use_library", &symbol) == RESULT_SUCCESS &&
           dladdr(symbol, &place) != 0 && place.dli_fname == first_ + "/plugin.so";
  }

  std::string const first_;
  ISharedLibrary *library_ = nullptr;
  unsigned long result_ = RESULT_OUT_OF_MEMORY;
};

// --- Directories ------------------------------------------------------------------------------

// A failing device must not look like a directory with fewer names. Each failed call may hide one
// name, whose status it read. A directory that cannot be opened counts as empty.
class Lists : public Scenario {
public:
  Lists(std::string const &directory, int error)
      : prefix_(directory + "/"), has_failing_device_(error == EIO) {
    write_file(prefix_ + "first", "");
    write_file(prefix_ + "second", "");
  }

  void use() override {
    results_[0] = Platform::get_file_list(prefix_.c_str(), "", &files_);
    results_[1] = Platform::get_dir_list(prefix_.c_str(), &directories_);
  }

  void use_again() override {
    check(results_[0], files_);
    check(results_[1], directories_);
    use();
    require(results_[0] == RESULT_SUCCESS && files_.size() == NAMES &&
                results_[1] == RESULT_SUCCESS && directories_.size() == NAMES,
            "cannot be listed again");
  }

private:
  static constexpr std::size_t NAMES = 2; // "first" and "second"; "." and ".."

  void check(unsigned long result, std::vector<std::string> const &names) const {
    require(result == RESULT_SUCCESS || names.empty(), "names in spite of a failure");
    require(result != RESULT_SUCCESS || !has_failing_device_ ||
                names.size() + report->failed >= NAMES,
            "a list that could not be read is complete");
  }

  std::string const prefix_;
  bool const has_failing_device_;
  std::vector<std::string> files_, directories_;
  std::array<unsigned long, 2> results_ = {};
};

// --- All rounds -------------------------------------------------------------------------------

template <class Made> std::unique_ptr<Scenario> make(std::string const &directory, int error) {
  return std::make_unique<Made>(directory, error);
}

constexpr Kind KINDS[] = {
    {"settings", make<Settings>}, {"settings by the registry", make<RegistrySettings>},
    {"logs", make<Log>},          {"named mutexes", make<Mutexes>},
    {"libraries", make<Library>}, {"directories", make<Lists>}};

// @return the report of the round's process.
Report run_round(Torture &torture, Kind const &kind, Plan const &plan) {
  TemporaryDirectory const directory;
  *report = {};
  pid_t const process = fork();
  if (process == 0) {
    play(kind, plan, directory.path());
    std::exit(0);
  }
  int status = 0;
  waitpid(process, &status, 0);
  bool const has_ended_well = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (!has_ended_well || report->fault[0] != '\0') {
    torture.fault("%s, %s at step %u%s: %s, wait status %d", kind.name, plan.shortage.name,
                  plan.count, plan.lasts ? " and later" : "", report->fault, status);
  }
  return *report;
}

struct Done {
  unsigned int processes = 0;
  unsigned long failures = 0;
};

// Makes each step of a first use fail in that way; in the quick run every hundredth.
void fail_each_step(Torture &torture, Kind const &kind, Plan plan, Done *done) {
  std::ptrdiff_t const descriptors =
      run_round(torture, kind, {plan.shortage, NEVER, false}).descriptors;
  unsigned int const stride = 100 / rounds(100);
  plan.count = done->processes % stride;
  for (Report outcome = run_round(torture, kind, plan); outcome.failed > 0;
       outcome = run_round(torture, kind, plan)) {
    if (outcome.descriptors != descriptors) {
      torture.fault("%s, %s at step %u%s: %td descriptors, not %td", kind.name, plan.shortage.name,
                    plan.count, plan.lasts ? " and later" : "", outcome.descriptors, descriptors);
    }
    done->processes += 1;
    done->failures += outcome.failed;
    plan.count += stride;
  }
}

// Without permission to open the registry the build-time default is used.
bool leads_elsewhere(Kind const &kind, Shortage const &shortage) {
  return shortage.error == EACCES && kind.make == &make<RegistrySettings>;
}

} // namespace

int torture() {
  Torture torture("Operations succeed after a shortage");
  setenv("TMPDIR", "/dev/shm", 1); // saves need not wait for a disk
  Done done;
  for (Kind const &kind : KINDS) {
    for (Shortage const &shortage : SHORTAGES) {
      for (bool const lasts : {false, true}) {
        if (!leads_elsewhere(kind, shortage)) {
          fail_each_step(torture, kind, {shortage, 0, lasts}, &done);
        }
      }
    }
  }
  return torture.row(
      "%lu failures (EMFILE, ENFILE, ENOMEM, EIO, ENOSPC, EACCES, lack of memory) in "
      "the first use of settings, logs, named mutexes, libraries and directories, in %u processes",
      done.failures, done.processes);
}
