// SPDX-License-Identifier: Apache-2.0
// Each system call of a commit fails in turn, in each way, for all operations that commit and all
// kinds of files that a commit distinguishes.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/SystemCalls.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr char OLD_FILE[] = "<UserConfig><K v=\"old\"/></UserConfig>\n";

// --- Failures ---------------------------------------------------------------------------------

struct Fault {
  char const *name;
  int error;
  bool is_short, lasts; // lasts: all later calls that need disk space fail, too
};

constexpr Fault FAULTS[] = {
    {"no space", ENOSPC, false, false}, {"a full disk", ENOSPC, false, true},
    {"EIO", EIO, false, false},         {"EROFS", EROFS, false, false},
    {"EACCES", EACCES, false, false},   {"EINTR", EINTR, false, false},
    {"a short write", 0, true, false}};

bool is_one_of(int number, std::initializer_list<int> numbers) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

// According to POSIX.1-2017 these can fail with EINTR.
bool can_be_interrupted(int number) {
  return is_one_of(number, {SYS_openat, SYS_read, SYS_write, SYS_fsync, SYS_ftruncate, SYS_fchmod,
                            SYS_fchown, SYS_close});
}

bool flushes_directory(SystemCall const &call) {
  return call.number == SYS_fsync &&
         std::filesystem::is_directory("/proc/self/fd/" + std::to_string(call.arguments[0]));
}

bool needs_room(SystemCall const &call) {
  constexpr int FLAGS = 2; // the argument of openat
  return call.number == SYS_openat ? (call.arguments[FLAGS] & O_CREAT) != 0
                                   : is_one_of(call.number, {SYS_write, SYS_fsync, SYS_fsetxattr,
                                                             SYS_rename, SYS_renameat});
}

// --- Commits ----------------------------------------------------------------------------------

// A commit to a file that is the only one in its directory, or the target of a link there.
struct Commit {
  std::string name;
  std::string directory;
  unsigned long failure; // the result of a failed commit
  bool is_one_step;      // the file must be replaced, not overwritten
  std::function<unsigned long()> run;
  std::function<unsigned long()> run_again; // writes the same file once more
};

// The names below a directory and the contents of the files.
std::map<std::string, std::string> contents_of(std::string const &directory) {
  std::map<std::string, std::string> contents;
  for (auto const &entry : std::filesystem::directory_iterator(directory)) {
    contents[entry.path().filename()] =
        entry.is_symlink() ? "link to " + std::filesystem::read_symlink(entry.path()).string()
                           : read_file(entry.path());
  }
  return contents;
}

ino_t file_number(std::string const &path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// Detects whether a file was overwritten instead of replaced.
class Identity {
public:
  explicit Identity(std::string path)
      : path_(std::move(path)), before_(open(path_.c_str(), O_PATH)) {
    number_ = file_number(path_);
  }
  Identity(Identity const &) = delete;
  Identity &operator=(Identity const &) = delete;
  ~Identity() { close(before_); }

  bool is_same() const { return number_ != 0 && file_number(path_) == number_; }

private:
  std::string path_;
  int before_; // kept open, so that its inode number is not reused
  ino_t number_;
};

// Runs a commit in which the call after `count` others fails.
// @return false if there was no such call.
bool fail_call(Torture &torture, Commit const &commit, Fault const &fault, unsigned int count) {
  auto const before = contents_of(commit.directory);
  Identity const file(commit.directory + "/user-config.xml");
  unsigned long result = RESULT_NOT_IMPLEMENTED;
  SystemCall failed = {-1, nullptr};
  bool is_unflushed = false; // the file was replaced, but its directory not flushed
  unsigned int const calls = judge_system_calls(
      [&] { result = commit.run(); },
      [&](unsigned int index, SystemCall const &call) {
        bool const fails = fault.lasts ? index >= count && needs_room(call) : index == count;
        if (index == count) {
          failed.number = call.number;
          is_unflushed = is_one_of(fault.error, {EIO, ENOSPC, EACCES}) && flushes_directory(call);
        }
        return fails ? Verdict{fault.error, fault.is_short} : Verdict();
      });
  auto const after = contents_of(commit.directory);
  bool const was_replaced = !file.is_same();
  std::string const place = commit.name + ", " + fault.name + " in call " + std::to_string(count) +
                            " (number " + std::to_string(failed.number) + ")";
  auto const require = [&](bool holds, char const *what) {
    if (!holds) {
      torture.fault("%s: %s, result %lu", place.c_str(), what, result);
    }
  };
  bool const is_harmless =
      fault.is_short || (fault.error == EINTR && can_be_interrupted(failed.number));
  require(result == RESULT_SUCCESS || result == commit.failure, "not the documented result");
  require(result == RESULT_SUCCESS || !is_harmless, "not ridden out");
  unsigned long const next = commit.run_again();
  auto const written = contents_of(commit.directory);
  XmlConfigSource reader;
  bool const loads =
      reader.init_source((commit.directory + "/user-config.xml").c_str()) == RESULT_SUCCESS;
  require(next == RESULT_SUCCESS && written != before && loads, "the next commit fails");
  require(result != RESULT_SUCCESS || !is_unflushed, "a flush that failed is not reported");
  require(after == (result == RESULT_SUCCESS || is_unflushed ? written : before), "other contents");
  // Without permission to replace it, it may be overwritten. A failed write is no such refusal.
  bool const is_refused = (fault.error == EACCES || fault.error == EROFS) &&
                          !is_one_of(failed.number, {SYS_write, SYS_fsync});
  require(result != RESULT_SUCCESS || was_replaced == commit.is_one_step || is_refused,
          "not replaced in one step");
  require(result != RESULT_SUCCESS || fault.error != EIO || failed.number != SYS_read,
          "overwritten without a copy of the old bytes");
  return count < calls;
}

// --- The files --------------------------------------------------------------------------------

struct Kind {
  char const *name;
  void (*make)(std::string const &directory); // creates user-config.xml there
  bool is_one_step;
};

constexpr Kind KINDS[] = {
    {"a file",
     [](std::string const &directory) { write_file(directory + "/user-config.xml", OLD_FILE); },
     true},
    {"a file of another owner with attributes",
     [](std::string const &directory) {
       std::string const path = directory + "/user-config.xml";
       write_file(path, OLD_FILE);
       setxattr(path.c_str(), "user.note", "kept", 4, 0);
       static_cast<void>(chown(path.c_str(), 1234, 4321) == 0); // only for root
     },
     true},
    {"a link",
     [](std::string const &directory) {
       write_file(directory + "/target.xml", OLD_FILE);
       std::filesystem::create_symlink("target.xml", directory + "/user-config.xml");
     },
     true},
    {"a file with two names",
     [](std::string const &directory) {
       write_file(directory + "/other.xml", OLD_FILE);
       std::filesystem::create_hard_link(directory + "/other.xml", directory + "/user-config.xml");
     },
     false},
    {"no file", [](std::string const &) {}, true},
    {"a link to nothing",
     [](std::string const &directory) {
       std::filesystem::create_symlink("target.xml", directory + "/user-config.xml");
     },
     true},
};

// A source over one of these files, in a fresh directory.
class Place {
public:
  explicit Place(Kind const &kind) {
    kind.make(directory_.path());
    std::string const path = directory_.path("user-config.xml");
    if (std::filesystem::exists(path)) {
      source.init_source(path.c_str());
    } else {
      source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, path.c_str(), "UserConfig");
      source.create_key(top(), "K", false);
    }
  }

  void const *top() const { return source.find_first(nullptr, &ignored_); }
  void const *key() const { return source.find_first(top(), &ignored_); }
  std::string const &directory() const { return directory_.path(); }

  XmlConfigSource source;

private:
  TemporaryDirectory directory_;
  mutable std::string ignored_;
};

struct Operation {
  char const *name;
  unsigned long failure;
  unsigned long (*run)(Place &place);
};

constexpr Operation OPERATIONS[] = {
    {"set_value", RESULT_IO_ERROR,
     [](Place &place) { return place.source.set_value(place.key(), "v", "new text", true); }},
    {"shorter set_value", RESULT_IO_ERROR,
     [](Place &place) { return place.source.set_value(place.key(), "v", "", true); }},
    {"create_key", RESULT_FAILURE,
     [](Place &place) -> unsigned long {
       return place.source.create_key(place.top(), "New", true) == nullptr ? RESULT_FAILURE
                                                                           : RESULT_SUCCESS;
     }},
    {"delete_key", RESULT_IO_ERROR,
     [](Place &place) { return place.source.delete_key(place.key()); }},
    {"delete_value", RESULT_IO_ERROR,
     [](Place &place) { return Configuration(place.source).delete_value(place.key(), "v"); }},
    {"commit", RESULT_FAILURE, [](Place &place) {
       place.source.set_value(place.key(), "v", "new text", false);
       return Configuration(place.source).commit();
     }}};

// The settings of this process, which remain in memory between commits.
class UserSettings {
public:
  UserSettings() {
    KINDS[0].make(directory_.path());
    setenv("OSTREL_CONFIG_PATH", directory_.path().c_str(), 1);
  }

  Commit commit() {
    std::string const text = "text " + std::to_string(++count_);
    auto const set = [text] {
      return UserConfig::set_user_config("UserConfig/K/v", text.c_str(), true);
    };
    return {"set_user_config", directory_.path(), RESULT_FAILURE, true, set, set};
  }

private:
  TemporaryDirectory directory_;
  unsigned int count_ = 0;
};

// Makes each call of a commit fail in each way; `make` creates the commit anew each time. In the
// quick run only every tenth call.
// @return the number of failed calls.
template <class Make> unsigned int fail_each_call(Torture &torture, Make make) {
  unsigned int const stride = std::min(10U, 100 / rounds(100));
  unsigned int done = 0, first = 0;
  for (Fault const &fault : FAULTS) {
    if (fault.lasts && !make().is_one_step) {
      continue; // overwritten bytes could not be restored
    }
    for (unsigned int count = first; fail_call(torture, make(), fault, count); count += stride) {
      ++done;
    }
    first = (first + 1) % stride;
  }
  return done;
}

unsigned int fail_each_call(Torture &torture, Operation const &operation, Kind const &kind) {
  std::optional<Place> place;
  return fail_each_call(torture, [&] {
    place.emplace(kind);
    return Commit{std::string(operation.name) + " over " + kind.name,
                  place->directory(),
                  operation.failure,
                  kind.is_one_step,
                  [&] { return operation.run(*place); },
                  [&] { return place->source.commit(); }};
  });
}

} // namespace

int torture() {
  Torture torture("A commit is all or nothing");
  unsigned int done = 0;
  for (Operation const &operation : OPERATIONS) {
    done += fail_each_call(torture, operation, KINDS[0]);
  }
  for (Kind const &kind : KINDS) {
    done += fail_each_call(torture, OPERATIONS[0], kind);
  }
  UserSettings settings;
  done += fail_each_call(torture, [&] { return settings.commit(); });
  return torture.row("%u system calls of commits failed: disk full, EIO, EROFS, EACCES, EINTR, "
                     "short write",
                     done);
}
