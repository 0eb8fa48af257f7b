// SPDX-License-Identifier: Apache-2.0
// What the platform and the foundation let several threads share.
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

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using namespace Ostrel;

namespace {

// What the mutexes guard: a plain number of each.
struct Guarded {
  std::unique_ptr<IMutex> mutex{Platform::create_mutex(true)};
  std::string const name = "torture threads " + std::to_string(getpid());
  Win32Mutex named{false, name.c_str(), false, nullptr, nullptr};
  AcquirableMap<int, unsigned long> map;
  unsigned long steps = 0, named_steps = 0;
};

void lend(Torture &torture, IAcquirable &target, unsigned long *steps) {
  AcquirableLock outer(target);
  AcquirableLock const inner(target);
  if (!target.is_acquired()) {
    torture.fault("a mutex that is held is not acquired");
  }
  ++*steps;
  outer.release();
  outer.acquire();
}

} // namespace

Stage mutexes(Torture &torture) {
  auto const all = std::make_shared<Guarded>();
  return {"mutexes",
          {[&torture, all](Turn const &) { lend(torture, *all->mutex, &all->steps); },
           [&torture, all](Turn const &) { lend(torture, all->named, &all->named_steps); },
           [&torture, all](Turn const &) {
             Win32Mutex again(false, all->name.c_str(), true, nullptr, nullptr);
             lend(torture, again, &all->named_steps);
           },
           [&torture, all](Turn const &turn) {
             std::string const name = all->name + std::to_string(turn.random % 8);
             unsigned long steps = 0;
             Win32Mutex own(turn.random % 2 == 0, name.c_str(), false, nullptr, nullptr);
             lend(torture, own, &steps);
             own.release(); // what its creation acquired: another thread may wait for the name
           },
           [&torture](Turn const &) {
             unsigned long steps = 0;
             std::unique_ptr<IMutex> const own(Platform::create_mutex(true));
             lend(torture, *own, &steps);
           },
           [all](Turn const &) {
             all->mutex->is_acquired();
             all->mutex->release(); // of a thread that does not hold it
             all->named.is_acquired();
           },
           [all](Turn const &turn) {
             AcquirableLock const lock(all->map);
             ++all->map[static_cast<int>(turn.random % 100)];
           }}};
}

Stage condition_variable(Torture &torture) {
  std::shared_ptr<IConditionVariable> const condition(Platform::create_condition_variable());
  auto const steps = std::make_shared<unsigned long>(0);
  return {"condition variable",
          {[condition](Turn const &) { condition->wait(1, true); },
           [&torture, condition, steps](Turn const &turn) {
             AcquirableLock const lock(*condition);
             condition->wait(turn.random % 2, false);
             if (!condition->is_acquired()) {
               torture.fault("a wait returned without the mutex");
             }
             ++*steps;
           },
           [condition](Turn const &) { condition->signal(); },
           [condition](Turn const &) { condition->broadcast(); },
           [condition, steps](Turn const &) {
             AcquirableLock const lock(*condition);
             condition->signal();
             ++*steps;
           },
           [condition, steps](Turn const &) {
             if (condition->lock_mutex()) {
               condition->broadcast();
               ++*steps;
               condition->unlock_mutex();
             }
           },
           [condition](Turn const &) {
             condition->is_acquired();
             condition->unlock_mutex(); // of a thread that does not hold it
           }}};
}

namespace {

class Counted : public ObjectImpl {
public:
  explicit Counted(ThreadSafety safety) : ObjectImpl(safety) {}

  void hold() {
    if (maybe_lock()) {
      ++steps_;
      maybe_unlock();
    }
  }
  bool release_too_often() { return maybe_unlock(); }

private:
  unsigned long steps_ = 0;
};

} // namespace

Stage counted_objects(Torture &torture) {
  std::vector<std::function<void(Turn const &)>> operations;
  auto const owned = [](ObjectImpl::ThreadSafety safety) {
    return std::shared_ptr<Counted>(new Counted(safety),
                                    [](Counted *object) { object->remove_ref(); });
  };
  for (auto const safety : {ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}) {
    std::shared_ptr<Counted> const object = owned(safety);
    operations.insert(operations.end(),
                      {[&torture, object](Turn const &) {
                         if (object->add_ref() < 2 || object->remove_ref() == 0) {
                           torture.fault("an owner was not counted");
                         }
                       },
                       [&torture, object](Turn const &) {
                         if (object->ref_count() == 0) {
                           torture.fault("an object that is owned has no owner");
                         }
                         std::ostringstream text;
                         object->print(text);
                       },
                       [object](Turn const &) { object->hold(); },
                       [&torture, object](Turn const &) {
                         if (object->release_too_often()) {
                           torture.fault("a thread released what it did not hold");
                         }
                       },
                       [owned, safety](Turn const &) {
                         std::shared_ptr<Counted> const own = owned(safety);
                         own->add_ref();
                         own->remove_ref();
                       }});
  }
  operations.emplace_back([](Turn const &turn) {
    ObjectImpl::set_default_thread_safety(
        turn.pick({ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}));
    ObjectImpl::get_default_thread_safety();
  });
  return {"counted objects", operations};
}

Stage environment_and_libraries(Torture &torture) {
  return {"environment and libraries",
          {[&torture](Turn const &turn) {
             ISharedLibrary *const library = Platform::create_shared_library();
             void *symbol = nullptr;
             library->set_name("libresolv.so.2");
             library->add_search_path(turn.pick({"/none", "/usr/lib"}));
             if (library->load() != RESULT_SUCCESS ||
                 library->get_symbol("__b64_ntop", &symbol) != RESULT_SUCCESS ||
                 library->unload() != RESULT_SUCCESS) {
               torture.fault("a library cannot be loaded");
             }
             library->remove_ref();
           },
           [&torture](Turn const &turn) {
             std::string text;
             auto const property = static_cast<Platform::SystemProperty>(turn.random % 8);
             if (Platform::get_system_property(property, &text) != RESULT_SUCCESS) {
               torture.fault("a property cannot be read");
             }
           },
           [](Turn const &) {
             std::string text;
             Platform::get_environment_variable("PATH", &text);
             Platform::find_system_file(Platform::CONFIG_PATH, "user-config.xml", &text);
             Platform::find_file("/none;/etc", "passwd", &text);
           }}};
}

Stage console_and_files(Torture &torture) {
  auto const directory = std::make_shared<TemporaryDirectory>();
  write_file(directory->path("file"), "first");
  std::string const file = directory->path("file");
  return {"console and files",
          {[](Turn const &) { Platform::input_ready(stdin); },
           [](Turn const &) {
             int hour = 0, minute = 0, second = 0;
             Platform::get_local_time(&hour, &minute, &second);
             Platform::get_timestamp();
           },
           [&torture, file, directory](Turn const &turn) {
             std::string const text = turn.pick({"second", "third"});
             if (Platform::replace_file(file.c_str(), text.data(), text.size()) != RESULT_SUCCESS) {
               torture.fault("a file cannot be replaced");
             }
           },
           [&torture, file](Turn const &) {
             std::string const text = read_file(file);
             if (text != "first" && text != "second" && text != "third") {
               torture.fault("a file that is replaced is not whole: '%s'", text.c_str());
             }
             if (Platform::file_exists(file.c_str()) != RESULT_SUCCESS) {
               torture.fault("a file that is replaced is not there");
             }
           },
           [directory](Turn const &) {
             std::vector<std::string> names;
             Platform::get_file_list(directory->path().c_str(), "", &names);
             Platform::get_dir_list((directory->path() + "/").c_str(), &names);
           },
           [directory](Turn const &turn) {
             std::string path;
             Platform::mkdir(directory->path("made" + std::to_string(turn.random % 8)).c_str(),
                             0700);
             Platform::make_absolute_path("relative", &path);
           }}};
}
