// SPDX-License-Identifier: Apache-2.0
// Objects of the platform and the foundation that several threads may share.
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/AcquirableMap.hpp"
#include "core/base/foundation/ObjectImpl.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Files.hpp"
#include "torture/threads/Stage.hpp"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

// A plain counter that a mutex guards, and its expected value.
struct Count {
  unsigned long guarded = 0;
  std::atomic<unsigned long> expected{0};

  void step() {
    ++guarded;
    ++expected;
  }
  void check(Torture &torture) const {
    if (guarded != expected) {
      torture.fault("%lu of %lu steps under a mutex are left", guarded, expected.load());
    }
  }
};

struct Guarded {
  std::unique_ptr<IMutex> mutex{Platform::create_mutex(true)};
  std::string const name = "torture threads " + std::to_string(getpid());
  Win32Mutex named{false, name.c_str(), false, nullptr, nullptr};
  AcquirableMap<int, unsigned long> map;
  Count steps, named_steps, map_steps;

  void check(Torture &torture) const {
    Count in_map;
    for (auto const &entry : map) {
      in_map.guarded += entry.second;
    }
    in_map.expected = map_steps.expected.load();
    for (Count const *count :
         std::initializer_list<Count const *>{&steps, &named_steps, &map_steps, &in_map}) {
      count->check(torture);
    }
  }
};

void lend(IAcquirable &target, Count *steps) {
  AcquirableLock outer(target);
  AcquirableLock const inner(target);
  steps->step();
  outer.release();
  outer.acquire();
}

} // namespace

Stage mutexes(Torture &torture) {
  auto const all = std::make_shared<Guarded>();
  return {{[all](Context const &) { lend(*all->mutex, &all->steps); },
           [all](Context const &) { lend(all->named, &all->named_steps); },
           [all](Context const &) {
             Win32Mutex again(false, all->name.c_str(), true, nullptr, nullptr);
             lend(again, &all->named_steps);
           },
           [all](Context const &context) {
             std::string const name = all->name + std::to_string(context.random % 8);
             Count own_steps;
             Win32Mutex own(context.random % 2 == 0, name.c_str(), false, nullptr, nullptr);
             lend(own, &own_steps);
             own.release(); // `initially_owned` acquired it: another thread may wait for the name
           },
           [](Context const &) {
             Count own_steps;
             std::unique_ptr<IMutex> const own(Platform::create_mutex(true));
             lend(*own, &own_steps);
           },
           [&torture, all](Context const &) {
             all->mutex->is_acquired();
             all->named.is_acquired();
             if (all->mutex->release()) {
               torture.fault("a thread released a mutex that it did not hold");
             }
           },
           [all](Context const &context) {
             AcquirableLock const lock(all->map);
             ++all->map[static_cast<int>(context.random % 100)];
             all->map_steps.step();
           }},
          [&torture, all] { all->check(torture); }};
}

Stage condition_variable(Torture &torture) {
  std::shared_ptr<IConditionVariable> const condition(Platform::create_condition_variable());
  auto const steps = std::make_shared<Count>();
  return {{[condition](Context const &) { condition->wait(1, true); },
           [condition, steps](Context const &context) {
             AcquirableLock const lock(*condition);
             condition->wait(context.random % 2, false);
             steps->step();
           },
           [condition](Context const &) { condition->signal(); },
           [condition](Context const &) { condition->broadcast(); },
           [condition, steps](Context const &) {
             AcquirableLock const lock(*condition);
             condition->signal();
             steps->step();
           },
           [condition, steps](Context const &) {
             if (condition->lock_mutex()) {
               condition->broadcast();
               steps->step();
               condition->unlock_mutex();
             }
           },
           [condition](Context const &) {
             condition->is_acquired();
             condition->unlock_mutex(); // not held by this thread
           }},
          [&torture, steps] { steps->check(torture); }};
}

namespace {

class Counted : public ObjectImpl {
public:
  explicit Counted(ThreadSafety safety) : ObjectImpl(safety) {}

  // Counts under the lock, which other threads must wait for.
  void hold(Torture &torture) {
    if (maybe_lock()) {
      steps_.step();
      unsigned int const count = add_ref();
      if (ref_count() != count || remove_ref() != count - 1) {
        torture.fault("another thread counted beside the holder of the lock");
      }
      maybe_unlock();
    }
  }
  bool release_too_often() { return maybe_unlock(); }
  void check(Torture &torture) const { steps_.check(torture); }

private:
  Count steps_;
};

} // namespace

Stage counted_objects(Torture &torture) {
  Stage stage;
  std::vector<std::shared_ptr<Counted>> objects;
  auto const owned = [](ObjectImpl::ThreadSafety safety) {
    return std::shared_ptr<Counted>(new Counted(safety),
                                    [](Counted *object) { object->remove_ref(); });
  };
  for (auto const safety : {ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}) {
    std::shared_ptr<Counted> const object = objects.emplace_back(owned(safety));
    stage.operations.insert(stage.operations.end(),
                            {[&torture, object](Context const &) {
                               if (object->add_ref() < 2 || object->remove_ref() == 0) {
                                 torture.fault("an owner was not counted");
                               }
                             },
                             [&torture, object](Context const &) {
                               if (object->ref_count() == 0) {
                                 torture.fault("an object that is owned has no owner");
                               }
                               std::ostringstream text;
                               object->print(text);
                             },
                             [&torture, object](Context const &) { object->hold(torture); },
                             [&torture, object](Context const &) {
                               if (object->release_too_often()) {
                                 torture.fault("a thread released what it did not hold");
                               }
                             },
                             [owned, safety](Context const &) {
                               std::shared_ptr<Counted> const own = owned(safety);
                               own->add_ref();
                               own->remove_ref();
                             }});
  }
  stage.operations.emplace_back([](Context const &context) {
    ObjectImpl::set_default_thread_safety(
        context.pick({ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}));
    ObjectImpl::get_default_thread_safety();
  });
  stage.check = [&torture, objects] {
    for (auto const &object : objects) {
      object->check(torture);
      if (object->ref_count() != 1) {
        torture.fault("an object with 1 owner counts %u", object->ref_count());
      }
    }
  };
  return stage;
}

Stage environment_and_libraries(Torture &torture) {
  return {{[&torture](Context const &context) {
             ISharedLibrary *const library = Platform::create_shared_library();
             void *symbol = nullptr;
             library->set_name("libresolv.so.2");
             library->add_search_path(context.pick({"/none", "/usr/lib"}));
             if (library->load() != RESULT_SUCCESS ||
                 library->get_symbol("__b64_ntop", &symbol) != RESULT_SUCCESS ||
                 library->unload() != RESULT_SUCCESS) {
               torture.fault("a library cannot be loaded");
             }
             library->remove_ref();
           },
           [&torture](Context const &context) {
             std::string text;
             auto const property = static_cast<Platform::SystemProperty>(context.random % 8);
             if (Platform::get_system_property(property, &text) != RESULT_SUCCESS) {
               torture.fault("a property cannot be read");
             }
           },
           [](Context const &) {
             std::string text;
             Platform::get_environment_variable("PATH", &text);
             Platform::find_system_file(Platform::CONFIG_PATH, "user-config.xml", &text);
             Platform::find_file("/none;/etc", "passwd", &text);
           }}};
}

namespace {

// A pseudo-terminal that is the controlling terminal of this process.
class Terminal {
public:
  explicit Terminal(Torture &torture) : torture_(torture) {
    setpgid(0, getpgid(getppid())); // the leader of a process group cannot begin a session
    setsid();
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    bool const is_open = grantpt(master_) == 0 && unlockpt(master_) == 0;
    int const terminal = is_open ? open(ptsname(master_), O_RDWR | O_NOCTTY) : -1;
    if (ioctl(terminal, TIOCSCTTY, 0) != 0) {
      torture.fault("no pseudo-terminal");
    }
  }

  // Types a key, then reads one: this one, or that of another thread.
  void read_key(Context const &context) {
    char echo[64];
    while (read(master_, echo, sizeof echo) > 0) {
    }
    while (write(master_, context.pick({"x", "\r"}), 1) != 1) { // fails while another thread types
      std::this_thread::yield();
    }
    char key = 'x';
    if (context.random / 2 % 2 == 0) {
      key = Platform::get_char();
    } else if (std::string line; Platform::get_line(&line)) {
      key = '\r';
    } else {
      key = line.size() == 1 ? line.front() : '?';
    }
    if (key != 'x' && key != '\r') {
      torture_.fault("a key was read that was not typed: %d", key);
    }
  }

private:
  Torture &torture_;
  int master_ = -1;
};

} // namespace

Stage console_and_files(Torture &torture) {
  auto const directory = std::make_shared<TemporaryDirectory>();
  write_file(directory->path("file"), "first");
  std::string const file = directory->path("file");
  auto const terminal = std::make_shared<Terminal>(torture);
  return {{[](Context const &) { Platform::input_ready(stdin); },
           [terminal](Context const &context) { terminal->read_key(context); },
           [](Context const &) {
             int hour = 0, minute = 0, second = 0;
             Platform::get_local_time(&hour, &minute, &second);
             Platform::get_timestamp();
           },
           [&torture, file, directory](Context const &context) {
             std::string const text = context.pick({"second", "third"});
             if (Platform::replace_file(file.c_str(), text.data(), text.size()) != RESULT_SUCCESS) {
               torture.fault("a file cannot be replaced");
             }
           },
           [&torture, file](Context const &) {
             std::string const text = read_file(file);
             if (text != "first" && text != "second" && text != "third") {
               torture.fault("a file that is replaced is not whole: '%s'", text.c_str());
             }
             if (Platform::file_exists(file.c_str()) != RESULT_SUCCESS) {
               torture.fault("a file that is replaced is not there");
             }
           },
           [directory](Context const &) {
             std::vector<std::string> names;
             Platform::get_file_list(directory->path().c_str(), "", &names);
             Platform::get_dir_list((directory->path() + "/").c_str(), &names);
           },
           [directory](Context const &context) {
             std::string path;
             Platform::mkdir(directory->path("made" + std::to_string(context.random % 8)).c_str(),
                             0700);
             Platform::make_absolute_path("relative", &path);
           }}};
}
