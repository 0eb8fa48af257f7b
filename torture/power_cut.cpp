// SPDX-License-Identifier: Apache-2.0
// The power fails during a commit. The file operations of a commit are recorded, and every state of
// the directory is built that a disk may have after a crash at any point: what was not flushed may
// or may not have reached it, in part or as zeros, and so may each change of a name. In each state
// the file is the old or the new one; after the commit it is the new one.
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/SystemCalls.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr char NAME[] = "user-config.xml";

// --- What a commit does -----------------------------------------------------------------------

struct Event {
  enum Kind { CREATE, WRITE, FLUSH_FILE, RENAME, REMOVE, FLUSH_DIRECTORY, UNKNOWN } kind;
  std::string name; // in the directory
  std::string text; // written, or the new name
};

using Events = std::vector<Event>;

char const *text_at(unsigned long long argument) {
  char const *text = nullptr;
  static_assert(sizeof text == sizeof argument);
  std::memcpy(&text, &argument, sizeof text);
  return text;
}

std::string name_of(char const *path) {
  return std::filesystem::path(path).filename();
}

std::string path_of(unsigned long long descriptor) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

// Records a call that changes the directory; others change nothing there.
void record(SystemCall const &call, std::string const &directory, Events *events) {
  unsigned long long const *const a = call.arguments;
  switch (call.number) {
  case SYS_openat:
    if ((a[2] & O_CREAT) != 0) {
      events->push_back({Event::CREATE, name_of(text_at(a[1])), {}});
    }
    break;
  case SYS_write:
    events->push_back({Event::WRITE, name_of(path_of(a[0]).c_str()),
                       std::string(text_at(a[1]), static_cast<std::size_t>(a[2]))});
    break;
  case SYS_fsync:
    if (path_of(a[0]) == directory) {
      events->push_back({Event::FLUSH_DIRECTORY, {}, {}});
    } else {
      events->push_back({Event::FLUSH_FILE, name_of(path_of(a[0]).c_str()), {}});
    }
    break;
  case SYS_rename:
    events->push_back({Event::RENAME, name_of(text_at(a[0])), name_of(text_at(a[1]))});
    break;
  case SYS_unlink:
    events->push_back({Event::REMOVE, name_of(text_at(a[0])), {}});
    break;
  case SYS_pwrite64:
  case SYS_fdatasync:
  case SYS_ftruncate:
  case SYS_renameat:
  case SYS_renameat2:
  case SYS_unlinkat:
  case SYS_linkat:
    events->push_back({Event::UNKNOWN, {}, {}}); // not part of the model
    break;
  default:
    break;
  }
}

// --- What a crash leaves ----------------------------------------------------------------------

struct File {
  std::string present, flushed;
};

using Names = std::map<std::string, int>; // of files by their number

// A disk during a commit: what it holds for certain, and what it may hold besides.
class Disk {
public:
  explicit Disk(std::map<std::string, std::string> const &contents) {
    for (auto const &[name, text] : contents) {
      present_[name] = add({text, text});
    }
    flushed_ = present_;
  }

  void apply(Event const &event) {
    switch (event.kind) {
    case Event::CREATE:
      change(event.name, add({}));
      break;
    case Event::WRITE:
      files_.at(present_.at(event.name)).present += event.text;
      break;
    case Event::FLUSH_FILE:
      files_.at(present_.at(event.name)).flushed = files_.at(present_.at(event.name)).present;
      break;
    case Event::RENAME:
      change(event.text, present_.at(event.name));
      change(event.name, NO_FILE);
      break;
    case Event::REMOVE:
      change(event.name, NO_FILE);
      break;
    case Event::FLUSH_DIRECTORY:
      flushed_ = present_;
      pending_.clear();
      break;
    case Event::UNKNOWN:
      break;
    }
  }

  // Calls `see` with the contents of the file in every state after a crash; null without a file.
  void crash(std::function<void(std::string const *)> const &see) const {
    for (unsigned int subset = 0; subset < 1U << pending_.size(); ++subset) {
      Names names = flushed_;
      for (std::size_t i = 0; i < pending_.size(); ++i) {
        if ((subset >> i & 1) != 0) {
          names[pending_[i].name] = pending_[i].file;
        }
      }
      auto const found = names.find(NAME);
      if (found == names.end() || found->second == NO_FILE) {
        see(nullptr);
        continue;
      }
      File const &file = files_.at(found->second);
      std::string const half = file.present.substr(0, file.present.size() / 2);
      std::string const zeros(file.present.size(), '\0');
      std::string const *const contents[] = {&file.flushed, &file.present, &half, &zeros};
      bool const is_certain = file.flushed == file.present;
      for (std::string const *text : contents) {
        see(text);
        if (is_certain) {
          break;
        }
      }
    }
  }

private:
  static constexpr int NO_FILE = -1;
  struct Change {
    std::string name;
    int file;
  };

  int add(File file) {
    int const number = static_cast<int>(files_.size());
    files_.push_back(std::move(file));
    return number;
  }

  void change(std::string const &name, int file) {
    pending_.push_back({name, file});
    present_[name] = file;
  }

  struct Files : std::vector<File> {
    File &at(int number) { return vector::at(static_cast<std::size_t>(number)); }
    File const &at(int number) const { return vector::at(static_cast<std::size_t>(number)); }
  } files_;
  Names present_, flushed_;
  std::vector<Change> pending_; // of names, since the last flush of the directory
};

struct Judgement {
  unsigned int states = 0, broken = 0, lost = 0;
};

// Builds every state after a crash and loads the file.
class Judge {
public:
  Judge(std::string const *before, std::string after) : before_(before), after_(std::move(after)) {}

  Judgement judge(Events const &events) {
    Judgement result;
    Disk disk(before_ == nullptr ? std::map<std::string, std::string>()
                                 : std::map<std::string, std::string>{{NAME, *before_}});
    for (std::size_t done = 0; done <= events.size(); ++done) {
      disk.crash([&](std::string const *text) {
        ++result.states;
        bool const is_old = before_ == nullptr ? text == nullptr : text && *text == *before_;
        bool const is_new = text != nullptr && *text == after_;
        result.broken += (is_old || is_new) && loads(text) ? 0 : 1;
        result.lost += done < events.size() || is_new ? 0 : 1;
      });
      if (done < events.size()) {
        disk.apply(events[done]);
      }
    }
    return result;
  }

private:
  bool loads(std::string const *text) const {
    if (text == nullptr) {
      return true;
    }
    write_file(directory_.path(NAME), *text);
    return XmlConfigSource().init_source(directory_.path(NAME).c_str()) == RESULT_SUCCESS;
  }

  std::string const *before_; // null for no file
  std::string after_;
  TemporaryDirectory directory_;
};

Events without(Events events, Event::Kind kind) {
  events.erase(std::remove_if(events.begin(), events.end(),
                              [kind](Event const &event) { return event.kind == kind; }),
               events.end());
  return events;
}

// --- Commits ----------------------------------------------------------------------------------

struct Commit {
  char const *name;
  std::function<unsigned long()> run;
};

// @return the number of states.
unsigned int cut(Torture &torture, std::string const &directory, Commit const &commit) {
  std::string const path = directory + "/" + NAME;
  std::string const before = read_file(path);
  bool const existed = std::filesystem::exists(path);
  Events events;
  unsigned long result = RESULT_FAILURE;
  judge_system_calls([&] { result = commit.run(); },
                     [&](unsigned int, SystemCall const &call) {
                       record(call, directory, &events);
                       return Verdict();
                     });
  Judge judge(existed ? &before : nullptr, read_file(path));
  Judgement const judgement = judge.judge(events);
  auto const count = [&events](Event::Kind kind) {
    return std::count_if(events.begin(), events.end(),
                         [kind](Event const &event) { return event.kind == kind; });
  };
  if (result != RESULT_SUCCESS || read_file(path) == before) {
    torture.fault("%s: result %lu", commit.name, result);
  }
  if (judgement.broken != 0 || judgement.lost != 0) {
    torture.fault("%s: of %u states %u are neither old nor new, and after the end %u are not new",
                  commit.name, judgement.states, judgement.broken, judgement.lost);
  }
  if (count(Event::FLUSH_FILE) != 1 || count(Event::FLUSH_DIRECTORY) != 1) {
    torture.fault("%s: more than one flush of the file and one of the directory", commit.name);
  }
  if (count(Event::UNKNOWN) != 0) {
    torture.fault("%s: a call that the states do not show", commit.name);
  }
  // Without these flushes the states must show it: else this program tries nothing.
  if (judge.judge(without(events, Event::FLUSH_FILE)).broken == 0 ||
      judge.judge(without(events, Event::FLUSH_DIRECTORY)).lost == 0) {
    torture.fault("%s: missing flushes are not found", commit.name);
  }
  return judgement.states;
}

} // namespace

int torture() {
  Torture torture("A power cut leaves the old or the new settings");
  TemporaryDirectory const directory, empty;
  write_file(directory.path(NAME), "<UserConfig>\n  <K v=\"old\"/>\n</UserConfig>\n");
  setenv("OSTREL_CONFIG_PATH", directory.path().c_str(), 1);
  std::vector<std::pair<std::string, std::string>> many;
  for (int i = 0; i < 50; ++i) {
    many.emplace_back("UserConfig/Many/Key" + std::to_string(i) + "/v", "text");
  }
  Commit const commits[] = {
      {"a setting",
       [] { return UserConfig::set_user_config("UserConfig/K/v", "the new text", true); }},
      {"a setting below new keys",
       [] { return UserConfig::set_user_config("UserConfig/A/B/C/v", "the new text", true); }},
      {"fifty settings", [&many] { return UserConfig::set_user_configs(many, true); }},
      {"a removal", [] { return UserConfig::remove_user_config("UserConfig/K/v", true); }}};
  unsigned int states = 0;
  for (Commit const &commit : commits) {
    states += cut(torture, directory.path(), commit);
  }
  XmlConfigSource source;
  source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, empty.path(NAME).c_str(), "UserConfig");
  states += cut(torture, empty.path(), {"a new file", [&source] { return source.commit(); }});
  return torture.row(
      "the calls of %u commits, recorded; each of %u states of the disk that a crash "
      "at any point may leave",
      static_cast<unsigned int>(std::size(commits)) + 1, states);
}
