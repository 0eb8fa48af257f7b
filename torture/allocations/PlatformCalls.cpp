// SPDX-License-Identifier: Apache-2.0
// Mutexes, threads, libraries, files, properties, the environment and the clock.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/EnvironmentSetup.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Files.hpp"
#include "torture/allocations/Calls.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;
using FailingMalloc::Strained;

Outcome use_mutex() {
  std::unique_ptr<IMutex> const mutex(strain([] { return Platform::create_mutex(true); }));
  if (mutex == nullptr) {
    return Outcome::REFUSED;
  }
  return right_if(strain([&] { return mutex->acquire() && mutex->acquire(); }) &&
                  mutex->release() && mutex->release() && !mutex->release());
}

Outcome use_named_mutex() {
  std::string const name = "torture of " + std::to_string(getpid());
  unsigned long created = RESULT_FAILURE, opened = RESULT_FAILURE;
  Strained const here;
  Win32Mutex mutex(/*initially_owned=*/true, name.c_str(), /*open_existing=*/false, nullptr,
                   &created);
  Win32Mutex same(/*initially_owned=*/false, name.c_str(), /*open_existing=*/true, nullptr,
                  &opened);
  if (created != RESULT_SUCCESS) {
    return right_if(!mutex.acquire() && opened != RESULT_SUCCESS) == Outcome::RIGHT
               ? Outcome::REFUSED
               : Outcome::WRONG;
  }
  bool const is_taken = opened == RESULT_SUCCESS && same.acquire() && same.release();
  return mutex.release() ? all_or_nothing(is_taken, opened != RESULT_SUCCESS) : Outcome::WRONG;
}

unsigned int set_to_one(void *number) {
  *static_cast<int *>(number) = 1;
  return 0;
}

Outcome run_thread() {
  int number = 0;
  std::unique_ptr<IThread> const thread(
      strain([&] { return Platform::create_thread(set_to_one, &number, false); }));
  if (thread == nullptr) {
    return Outcome::REFUSED;
  }
  if (!strain([&] { return thread->start(); })) {
    return all_or_nothing(false, !thread->wait_for_exit(0)); // no thread is left to wait for
  }
  return right_if(thread->wait_for_exit(OVRA_INFINITE) && number == 1);
}

Outcome wait_on_condition() {
  struct Shared {
    std::unique_ptr<IConditionVariable> condition;
    bool is_set = false;
  } shared;
  shared.condition.reset(strain([] { return Platform::create_condition_variable(); }));
  if (shared.condition == nullptr || !strain([&] { return shared.condition->lock_mutex(); })) {
    return Outcome::REFUSED;
  }
  auto const signaller = [](void *argument) {
    auto *const both = static_cast<Shared *>(argument);
    both->condition->lock_mutex();
    both->is_set = true;
    both->condition->signal();
    both->condition->unlock_mutex();
    return 0U;
  };
  std::unique_ptr<IThread> const thread(Platform::create_thread(signaller, &shared, false));
  if (thread == nullptr || !thread->start()) {
    return Outcome::WRONG;
  }
  bool has_failed = false;
  while (!shared.is_set && !has_failed) {
    has_failed = !strain([&] { return shared.condition->wait(OVRA_INFINITE, false); });
  }
  bool const is_held = shared.condition->unlock_mutex();
  bool const is_ended = thread->wait_for_exit(OVRA_INFINITE);
  return is_held && is_ended ? all_or_nothing(!has_failed, true) : Outcome::WRONG;
}

struct LetGo {
  void operator()(ISharedLibrary *library) const { library->remove_ref(); }
};

Outcome load_library() {
  std::unique_ptr<ISharedLibrary, LetGo> const library(
      strain([] { return Platform::create_shared_library(); }));
  if (library == nullptr) {
    return Outcome::REFUSED;
  }
  std::string path;
  Platform::get_environment_variable("PATH", &path);
  unsigned long results[] = {
      strain([&] { return library->set_name("libBrokenLocale.so.1"); }),
      strain([&] { return library->add_search_path("/a/directory/that/is/not/there"); }),
      RESULT_FAILURE};
  if (results[0] != RESULT_SUCCESS || results[1] != RESULT_SUCCESS) {
    return by_code(std::max(results[0], results[1]), false);
  }
  results[2] = strain([&] { return library->load(); });
  std::string path_afterwards;
  Platform::get_environment_variable("PATH", &path_afterwards);
  if (path_afterwards != path) {
    return Outcome::WRONG;
  }
  if (results[2] != RESULT_SUCCESS) {
    return by_code(results[2], false, {RESULT_NOT_FOUND});
  }
  void *address = nullptr;
  unsigned long const found =
      strain([&] { return library->get_symbol("__ctype_get_mb_cur_max", &address); });
  unsigned long const unloaded = strain([&] { return library->unload(); });
  return worst({by_code(found, address != nullptr), by_code(unloaded, !library->is_loaded())});
}

Outcome miss_library() {
  NewText const err(STANDARD_ERROR);
  std::unique_ptr<ISharedLibrary, LetGo> const library(Platform::create_shared_library());
  library->set_name("no_such_library_anywhere");
  unsigned long const result = strain([&] { return library->load(); });
  if (result == RESULT_OUT_OF_MEMORY) {
    return Outcome::REFUSED;
  }
  return result == RESULT_NOT_FOUND ? err.has("Library 'no_such_library_anywhere") : Outcome::WRONG;
}

Outcome replace_file() {
  std::string const path = in_directory("replaced.txt");
  write_file(path, "old");
  std::ptrdiff_t const entries = count_entries(scenario_directory());
  unsigned long const result =
      strain([&] { return Platform::replace_file(path.c_str(), "new text", 8); });
  bool const is_whole = read_file(path) == (result == RESULT_SUCCESS ? "new text" : "old") &&
                        count_entries(scenario_directory()) == entries;
  return is_whole ? by_code(result, true) : Outcome::WRONG;
}

Outcome look_at_files() {
  std::string const file = in_directory("robot.xml"), none = in_directory("none");
  Strained const here;
  bool const is_right =
      Platform::directory_exists(scenario_directory().c_str()) == RESULT_SUCCESS &&
      Platform::file_exists(none.c_str()) == RESULT_FAILURE &&
      Platform::directory_exists(file.c_str()) == RESULT_FAILURE;
  unsigned long const result = Platform::file_exists(file.c_str());
  return is_right ? all_or_nothing(result == RESULT_SUCCESS, result == RESULT_FAILURE)
                  : Outcome::WRONG;
}

Outcome fail_to_make_directory() {
  NewText const err(STANDARD_ERROR);
  std::string const path = in_directory("none/none");
  unsigned long const result = strain([&] { return Platform::mkdir(path.c_str(), 0); });
  return result == RESULT_IO_ERROR ? err.is("INFO  - Failed to mkdir('" + path + "')\n")
                                   : Outcome::WRONG;
}

Outcome list_directory() {
  std::vector<std::string> files, directories;
  std::string const prefix = scenario_directory() + "\\";
  unsigned long const listed = strain(
      [&] { return Platform::get_file_list(scenario_directory().c_str(), "-config.xml", &files); });
  unsigned long const found =
      strain([&] { return Platform::get_dir_list(prefix.c_str(), &directories); });
  return worst({by_code(listed, files.size() == 1 && files[0] == prefix + "user-config.xml"),
                by_code(found, directories.size() == 3)}); // ".", ".." and "devices"
}

Outcome make_paths() {
  char here[4096];
  if (getcwd(here, sizeof here) == nullptr) {
    return Outcome::WRONG;
  }
  std::string current, absolute = "before", native = "before";
  unsigned long const result = strain([&] { return Platform::get_current_directory(&current); });
  bool const is_made =
      strain([&] { return Platform::make_absolute_path("a/relative/path", &absolute); });
  strain([&] {
    native = Platform::native_path("c:\\a\\path\\that\\needs\\some\\memory");
    return 0;
  });
  return worst({by_code(result, current == here),
                all_or_nothing(is_made && absolute == std::string(here) + "\\a/relative/path",
                               !is_made && absolute == "before"),
                all_or_nothing(native == "/a/path/that/needs/some/memory", native.empty())});
}

Outcome search_files() {
  std::string found = "before", element, to_write;
  std::string search_path = "/a/directory/that/is/not/there;" + scenario_directory();
  std::string const first = search_path.substr(0, search_path.find(';'));
  unsigned long const result =
      strain([&] { return Platform::find_file(std::move(search_path), "robot.xml", &found); });
  unsigned long const system = strain([&] {
    return Platform::find_system_or_regular_file(Platform::CONFIG_PATH, "robot.xml", &element);
  });
  // Without memory for the property it is below the current directory, with a warning.
  strain([&] {
    Platform::find_place_to_write(Platform::CONFIG_PATH, "a name that needs memory", &to_write);
    return 0;
  });
  return worst({by_code(result, found == scenario_directory() + "\\robot.xml"),
                by_code(system, element == scenario_directory() + "\\robot.xml"),
                all_or_nothing(to_write == scenario_directory() + "\\a name that needs memory",
                               to_write.empty() || to_write == ".\\a name that needs memory")});
}

Outcome miss_system_file() {
  NewText const err(STANDARD_ERROR);
  std::string found = "before";
  unsigned long const result = strain(
      [&] { return Platform::find_system_file(Platform::CONFIG_PATH, "no-such-file", &found); });
  if (result == RESULT_OUT_OF_MEMORY) {
    return Outcome::REFUSED;
  }
  return result == RESULT_NOT_FOUND && found == "before"
             ? err.has("WARN  - Failed to find 'no-such-file' in '" + scenario_directory())
             : Outcome::WRONG;
}

Outcome read_properties() {
  std::string install, config, landmarks;
  unsigned long const results[] = {
      strain([&] { return Platform::get_system_property(Platform::INSTALL_PATH, &install); }),
      strain([&] { return Platform::get_system_property(Platform::CONFIG_PATH, &config); }),
      strain(
          [&] { return Platform::get_system_property(Platform::SLAM_LANDMARK_PATH, &landmarks); })};
  std::string const installed = "c:\\installed\\below\\a\\long\\path";
  return worst({by_code(results[0], install == installed),
                by_code(results[1], config == scenario_directory() + ";" + installed + "\\config"),
                by_code(results[2], landmarks == "a place for the landmarks of the robot")});
}

Outcome read_environment() {
  std::string value = "before";
  bool const is_set =
      strain([&] { return Platform::get_environment_variable("OSTREL_CONFIG_PATH", &value); });
  return all_or_nothing(is_set && value == scenario_directory(), !is_set && value == "before");
}

Outcome set_environment_up() {
  std::string program = "/somewhere/ostrel-core/program";
  char *arguments[] = {program.data(), nullptr};
  char *made = nullptr;
  std::string path;
  strain([&] {
    EnvironmentSetup const setup(1, arguments);
    made = EnvironmentSetup::make_srcdir_path("a/relative/path");
    return 0;
  });
  std::unique_ptr<char[]> const owned(made);
  restore_config_path(); // the destructor of the set-up removes it
  return all_or_nothing(made != nullptr &&
                            std::strcmp(made, "/a/directory/of/sources\\a/relative/path") == 0,
                        made == nullptr);
}

// As exact as the library's clock: `std::time` is late by some milliseconds.
std::time_t now() {
  timespec time = {};
  clock_gettime(CLOCK_REALTIME, &time);
  return time.tv_sec;
}

Outcome read_local_time() {
  std::time_t const before = now();
  int hour = -1, minute = -1;
  strain([&] {
    Platform::get_local_time(&hour, &minute, nullptr);
    return 0;
  });
  // The scenario's zone is always 5 hours and 30 minutes ahead.
  constexpr std::time_t AHEAD = 5L * 60 + 30, DAY = 24L * 60; // minutes
  auto const minute_of_day = [](std::time_t time) {
    return static_cast<int>((time / 60 + AHEAD) % DAY);
  };
  int const given = hour * 60 + minute;
  // If the C library could not read the zone during the load, it never retries.
  bool const is_lost = FailingMalloc::failed_at_load() > 0 && timezone != -60 * AHEAD;
  return right_if(is_lost || given == minute_of_day(before) || given == minute_of_day(now()));
}

} // namespace

std::vector<Call> platform_calls() {
  return {
      {"a mutex", use_mutex},
      {"a named mutex", use_named_mutex},
      {"a thread", run_thread},
      {"a condition variable", wait_on_condition},
      {"load a library", load_library},
      {"miss a library", miss_library},
      {"replace a file", replace_file},
      {"look at files", look_at_files},
      {"fail to make a directory", fail_to_make_directory},
      {"list a directory", list_directory},
      {"make paths", make_paths},
      {"search files", search_files},
      {"miss a system file", miss_system_file},
      {"read properties", read_properties},
      {"read the environment", read_environment},
      {"set the environment up", set_environment_up},
      {"read the local time", read_local_time},
  };
}
