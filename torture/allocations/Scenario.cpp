// SPDX-License-Identifier: Apache-2.0
#include "torture/allocations/Scenario.hpp"

#include "core/base/capi/ovra.h"
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/AcquirableMap.hpp"
#include "core/base/foundation/Array.hpp"
#include "core/base/foundation/ObjectImpl.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/StringUtils.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"
#include "core/base/platform/EnvironmentSetup.hpp"
#include "core/base/platform/IConditionVariable.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/IThread.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "core/base/testing/TestUtils.hpp"
#include "core/base/testing/fdostream.hpp"
#include "core/base/units/Units.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;
using FailingMalloc::Strained;

std::string directory;

std::string in_directory(char const *name) {
  return directory + '/' + name;
}

Outcome right_if(bool is_right) {
  return is_right ? Outcome::RIGHT : Outcome::WRONG;
}

// The outcome of an operation that reports a lack of memory by its code, or by one of `others`.
Outcome by_code(unsigned long result, bool is_right,
                std::initializer_list<unsigned long> others = {}) {
  bool const is_refusal = result == RESULT_OUT_OF_MEMORY ||
                          std::find(others.begin(), others.end(), result) != others.end();
  return is_refusal ? Outcome::REFUSED : right_if(result == RESULT_SUCCESS && is_right);
}

// The outcome of an operation that may do nothing for lack of memory.
Outcome all_or_nothing(bool is_done, bool is_nothing) {
  return is_done ? Outcome::RIGHT : is_nothing ? Outcome::REFUSED : Outcome::WRONG;
}

// The worst of several outcomes.
Outcome worst(std::initializer_list<Outcome> outcomes) {
  return std::max(outcomes);
}

// The text that is appended to a file during the life of this object.
class NewText {
public:
  explicit NewText(std::string path) : path_(std::move(path)), before_(read_file(path_).size()) {}

  // Without the message that logging writes once if there was no memory for its set-up.
  std::string text() const {
    std::string const now = read_file(path_);
    std::string text = now.substr(std::min(before_, now.size()));
    constexpr char NOT_SET_UP[] = "WARN: Failed to set up logging.\n";
    if (std::size_t const at = text.find(NOT_SET_UP); at != text.npos) {
      text.erase(at, sizeof NOT_SET_UP - 1);
    }
    return text;
  }
  // The outcome of writing only this text: a line is lost if there is no memory for it.
  Outcome is(std::string const &expected) const {
    std::string const now = text();
    return all_or_nothing(now == expected, now.empty());
  }
  // The same for one line of several.
  Outcome has(std::string const &expected) const {
    return text().find(expected) != std::string::npos ? Outcome::RIGHT : Outcome::REFUSED;
  }

private:
  std::string path_;
  std::size_t before_;
};

constexpr char const *STANDARD_ERROR = "/proc/self/fd/2";

unsigned long restorations = 0;

void restore_config_path() {
  setenv("OSTREL_CONFIG_PATH", directory.c_str(), 1);
  ++restorations;
}

// --- Foundation -------------------------------------------------------------------------------

Outcome grow_array() {
  DoubleArray array;
  for (unsigned int i = 0; i < 100; ++i) {
    unsigned long const result = strain([&] { return array.push_back(i); });
    if (result != RESULT_SUCCESS) {
      return by_code(result, array.size() == i);
    }
  }
  unsigned long const result = strain([&] { return array.resize(1000); });
  bool const is_kept = array[99] == 99.0 && array.size() == (result == RESULT_SUCCESS ? 1000 : 100);
  return is_kept ? by_code(result, array[999] == 0.0) : Outcome::WRONG;
}

Outcome copy_array() {
  LongArray original;
  for (int i = 0; i < 50; ++i) {
    original.push_back(i);
  }
  Strained const here;
  LongArray const copy = original;
  return all_or_nothing(copy == original, copy.size() == 0);
}

Outcome reserve_array() {
  LongArray array, assigned;
  for (int i = 0; i < 50; ++i) {
    array.push_back(i);
  }
  assigned.push_back(1);
  LongArray const before = array;
  unsigned long const reserved = strain([&] { return array.set_capacity(500, true); });
  if (array != before) {
    return Outcome::WRONG;
  }
  strain([&] { return &(assigned = array); });
  return worst({by_code(reserved, array.capacity() == 500),
                all_or_nothing(assigned == array, assigned.size() == 0)});
}

Outcome flatten_array() {
  short const numbers[] = {1, 2, 3};
  ShortArray const original(numbers, 3);
  if (original.size() != 3) {
    return Outcome::WRONG;
  }
  unsigned int length = 0;
  std::unique_ptr<char[]> const flat(strain([&] { return original.flatten(length); }));
  if (flat == nullptr) {
    return all_or_nothing(false, length == 0);
  }
  ShortArray read;
  unsigned long const result = strain([&] { return read.unflatten(flat.get(), length); });
  return by_code(result, read == original);
}

Outcome make_char_array() {
  std::string const text(100, 'x');
  Strained const here;
  CharArray const array(text.c_str());
  return all_or_nothing(array.size() == text.size(), array.size() < text.size());
}

Outcome trim_and_split() {
  std::string trimmed = "before";
  std::deque<std::string> fields(1, "before");
  strain([&] {
    StringUtils::trim("  a text that is too long to need no memory  ", ' ', &trimmed);
    StringUtils::split("a field that needs memory;another field that needs memory", ';', &fields);
    return 0;
  });
  return worst(
      {all_or_nothing(trimmed == "a text that is too long to need no memory", trimmed.empty()),
       all_or_nothing(fields.size() == 3 && fields[2] == "another field that needs memory",
                      fields.size() == 1)});
}

Outcome format_text() {
  char text[700];
  int const length =
      strain([&] { return ovra_snprintf(text, sizeof text, "%.600f %s", 0.5, "and more"); });
  bool const is_right = length == 611 && std::strcmp(text + 602, " and more") == 0;
  return all_or_nothing(is_right, length < 0);
}

class Counted : public ObjectImpl {
public:
  explicit Counted(ThreadSafety safety) : ObjectImpl(safety) {}
  bool lock_and_unlock() { return maybe_lock() && maybe_unlock(); }
};

Outcome count_references() {
  Outcome outcome = Outcome::RIGHT;
  for (auto const safety : {ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}) {
    auto *const object = strain([safety] { return new (std::nothrow) Counted(safety); });
    if (object == nullptr) {
      return Outcome::REFUSED;
    }
    bool const is_locked = strain([object] { return object->lock_and_unlock(); });
    outcome = worst({outcome, is_locked ? Outcome::RIGHT : Outcome::REFUSED});
    if (object->add_ref() != 2 || object->remove_ref() != 1 || object->remove_ref() != 0) {
      return Outcome::WRONG;
    }
  }
  return outcome;
}

Outcome lock_map() {
  Strained const here;
  AcquirableMap<int, int> map;
  bool const is_acquired = map.acquire();
  return all_or_nothing(is_acquired && map.release(), !is_acquired && !map.is_ok());
}

// --- Platform ---------------------------------------------------------------------------------

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
  std::ptrdiff_t const entries = count_entries(directory);
  unsigned long const result =
      strain([&] { return Platform::replace_file(path.c_str(), "new text", 8); });
  bool const is_whole = read_file(path) == (result == RESULT_SUCCESS ? "new text" : "old") &&
                        count_entries(directory) == entries;
  return is_whole ? by_code(result, true) : Outcome::WRONG;
}

Outcome look_at_files() {
  std::string const file = in_directory("robot.xml"), none = in_directory("none");
  Strained const here;
  bool const is_right = Platform::directory_exists(directory.c_str()) == RESULT_SUCCESS &&
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
  std::string const prefix = directory + "\\";
  unsigned long const listed =
      strain([&] { return Platform::get_file_list(directory.c_str(), "-config.xml", &files); });
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
  std::string search_path = "/a/directory/that/is/not/there;" + directory;
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
  return worst({by_code(result, found == directory + "\\robot.xml"),
                by_code(system, element == directory + "\\robot.xml"),
                all_or_nothing(to_write == directory + "\\a name that needs memory",
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
             ? err.has("WARN  - Failed to find 'no-such-file' in '" + directory)
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
                by_code(results[1], config == directory + ";" + installed + "\\config"),
                by_code(results[2], landmarks == "a place for the landmarks of the robot")});
}

Outcome read_environment() {
  std::string value = "before";
  bool const is_set =
      strain([&] { return Platform::get_environment_variable("OSTREL_CONFIG_PATH", &value); });
  return all_or_nothing(is_set && value == directory, !is_set && value == "before");
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

// --- Logging ----------------------------------------------------------------------------------

Outcome log_to_root() {
  NewText const err(STANDARD_ERROR);
  bool const has_passed = strain([] {
    return LoggingCategory::get_instance("Torture.Root.A.Name.That.Needs.Memory").warn("A line");
  });
  // The category that drops everything has this name.
  return worst({has_passed ? Outcome::RIGHT : Outcome::REFUSED, err.is("WARN  - A line\n")});
}

Outcome log_where_environment_says() {
  // If a file could not be opened without memory, the output retries after 1 s.
  constexpr unsigned long PAUSE_MS = 1100;
  static bool has_failed = false;
  if (has_failed) {
    Platform::millisecond_sleep(PAUSE_MS);
  }
  NewText const file(in_directory("configured.log"));
  bool const has_passed = strain(
      [] { return LoggingCategory::get_instance("Torture.Configured").debug("Some detail"); });
  Outcome const outcome =
      worst({has_passed ? Outcome::RIGHT : Outcome::REFUSED, file.is("DEBUG - Some detail\n")});
  has_failed = outcome == Outcome::REFUSED;
  return outcome;
}

Outcome log_to_own_file() {
  std::string const path = in_directory("own.log");
  NewText const file(path);
  LoggingCategory &category = LoggingCategory::get_instance("Torture.Own");
  if (!category.warn_enabled()) {
    return Outcome::WRONG;
  }
  bool is_made = false;
  {
    Strained const here;
    auto output =
        std::unique_ptr<FileLoggingOutput>(new (std::nothrow) FileLoggingOutput(path.c_str()));
    is_made = output != nullptr;
    if (is_made) {
      category.set_logging_output(output.release());
      LoggingEvent const event("torture.own", "An event", LoggingPriority::ERROR, "a file.cpp", 7);
      category.get_logging_output()->write(event);
      LoggingCategoryPrefixed(&category, "A %s prefix", "rather long").warn("prefixed");
      category.get_logging_output()->re_open();
      category.warn("last");
    }
  }
  category.remove_logging_output();
  return !is_made ? Outcome::REFUSED
                  : worst({file.has("ERROR - An event [a file.cpp:7]\n"),
                           file.has("WARN  - A rather long prefix: prefixed\n"),
                           file.has("WARN  - last\n")});
}

Outcome log_with_time() {
  NewText const err(STANDARD_ERROR);
  LoggingCategory &category = LoggingCategory::get_instance("Torture.Time");
  strain([&] { return LoggingCategoryPostfixed(&category).warn("The time"); });
  std::string const text = err.text();
  std::size_t const message = text.find("  The time [time]\n");
  return message == 16 && text[10] == ':' && text[13] == ':' ? Outcome::RIGHT : Outcome::REFUSED;
}

Outcome change_outputs() {
  LoggingCategory &category = LoggingCategory::get_instance("Torture.Changed");
  Strained const here;
  category.set_logging_output(nullptr);
  ILoggingOutput *const output = category.get_logging_output();
  if (output == nullptr) {
    return Outcome::WRONG; // the root's
  }
  output->set_layout(nullptr);
  bool const has_layout = output->get_layout() != nullptr;
  category.remove_logging_output();
  return has_layout ? Outcome::RIGHT : Outcome::REFUSED;
}

Outcome make_hierarchy() {
  std::string const name = "a.category.of.this.hierarchy";
  Strained const here;
  LoggingHierarchy hierarchy;
  LoggingCategory const *const category = hierarchy.get_instance(name);
  LoggingCategory const &root = hierarchy.get_root_category();
  return all_or_nothing(category != nullptr &&
                            category->granted_priority() == LoggingPriority::INFO,
                        category == nullptr || root.logging_disabled());
}

Outcome parse_specification() {
  std::string text = "a.category.with.a.long.name,INFO;b", category, priority;
  unsigned int const next = strain([&] {
    return LoggingCategory::parse_logging_spec(std::move(text), 0, &category, &priority);
  });
  return all_or_nothing(next == 33 && category == "a.category.with.a.long.name" &&
                            priority == "INFO",
                        next == LoggingCategory::npos);
}

// --- Units ------------------------------------------------------------------------------------

Outcome convert_units() {
  double result = 0.0;
  unsigned long const converted =
      strain([&] { return Units::convert_units(UNIT_TYPE_DISTANCE, "m", 2.0, "cm", &result); });
  std::string name;
  unsigned long const got = strain([&] { return Units::get_default_units(UNIT_TYPE_TIME, &name); });
  return worst({by_code(converted, result == 200.0), by_code(got, name == "sec")});
}

Outcome refuse_units() {
  NewText const err(STANDARD_ERROR);
  double result = 0.0;
  std::string unknown = "parsecs, as far as anybody knows";
  unsigned long const code = strain([&] {
    return Units::convert_units(UNIT_TYPE_DISTANCE, "m", 1.0, std::move(unknown), &result);
  });
  return code == RESULT_INVALID_ARGUMENT
             ? err.is("WARN  - Failed to acquire output units 'parsecs, as far as anybody knows' "
                      "for unit conversion\n")
             : Outcome::WRONG;
}

// --- Configuration ----------------------------------------------------------------------------

// Loads a file of the scenario; null, with the outcome, on failure.
std::unique_ptr<XmlConfigSource> load(char const *file, Outcome *outcome) {
  std::unique_ptr<XmlConfigSource> source(
      strain([] { return new (std::nothrow) XmlConfigSource; }));
  if (source == nullptr) {
    *outcome = Outcome::REFUSED;
    return nullptr;
  }
  unsigned long const set = strain([&] { return source->set_search_path(directory.c_str()); });
  unsigned long const loaded = set != RESULT_SUCCESS ? set : strain([&] {
    return source->init_source(static_cast<void const *>(file));
  });
  *outcome = by_code(loaded, true, {RESULT_ACQUISITION_ERROR});
  return loaded == RESULT_SUCCESS ? std::move(source) : nullptr;
}

// The contents of a key as one text; null if a part could not be read. The source itself does not
// distinguish that from a missing part.
bool read_whole(XmlConfigSource const &source, void const *key, std::string *whole) {
  std::string name, text;
  if (!source.get_key_name(key, &name)) {
    return false;
  }
  *whole += '<' + name;
  for (void const *value = source.find_first_value(key, &name, &text); value != nullptr;
       value = source.find_next_value(value, &name, &text)) {
    *whole += ' ' + name + '=' + text;
  }
  for (void const *child = source.find_first(key, &name); child != nullptr;
       child = source.find_next(child, &name)) {
    if (!read_whole(source, child, whole)) {
      return false;
    }
  }
  *whole += '>';
  return true;
}

Outcome load_and_walk(char const *file, char const *expected) {
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load(file, &outcome);
  if (source == nullptr) {
    return outcome;
  }
  std::string whole, name;
  if (!read_whole(*source, source->find_first(nullptr, &name), &whole) || whole != expected) {
    std::fprintf(stderr, "%s\n", whole.c_str());
    return Outcome::WRONG; // a successful load must be complete
  }
  {
    Strained const here;
    std::string walked;
    void const *key = source->find_first(nullptr, &walked);
    for (void const *child = key; child != nullptr; child = source->find_first(child, &walked)) {
      key = child;
    }
    void const *const value = source->find_first_value(key, &name, &walked);
    outcome = key == nullptr || value == nullptr ? Outcome::REFUSED : Outcome::RIGHT;
  }
  return outcome;
}

Outcome load_plain_file() {
  return load_and_walk("robot.xml", "<Robot =A text that needs memory to be kept, and a second one"
                                    "<Arm = joints=6 name=An arm with a long name>"
                                    "<Arm =second joints=7><Series = values=1 2 5:8 -3>>");
}

Outcome load_difficult_file() {
  return load_and_walk("latin.xml", "<R =\xC3\xA9t\xC3\xA9 and an entity with a long text a=1 "
                                    "b=\xC3\xA9 b2=<<<K =an entity with a long text c=>>>");
}

Outcome miss_source_file() {
  NewText const err(STANDARD_ERROR);
  XmlConfigSource source;
  if (source.set_search_path(directory.c_str()) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  Configuration configuration(source);
  char const *const file = "no-such-file.xml";
  unsigned long const result =
      strain([&] { return configuration.init_source(static_cast<void const *>(file)); });
  if (result != RESULT_NOT_FOUND) {
    return by_code(result, false);
  }
  return worst({err.has("WARN  - Unable to find file '" + directory + "\\no-such-file.xml'\n"),
                err.has("WARN  - Failed to initialize source 'no-such-file.xml'\n")});
}

// Also resets the last error of the XML library, which keeps memory for it.
Outcome refuse_broken_file() {
  NewText const err(STANDARD_ERROR);
  XmlConfigSource source;
  if (source.set_search_path(directory.c_str()) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  unsigned long const result =
      strain([&] { return source.init_source(static_cast<void const *>("broken.xml")); });
  return result == RESULT_FAILURE
             ? err.has("WARN  - Failed to parse config file " + directory + "\\broken.xml\n")
             : by_code(result, false);
}

Outcome read_typed_values() {
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load("robot.xml", &outcome);
  if (source == nullptr) {
    return outcome;
  }
  std::optional<Configuration> const configuration(
      strain([&] { return std::optional<Configuration>(*source); }));
  double real = 0.0;
  long whole = 0;
  unsigned long natural = 0;
  std::string text;
  long series[10];
  unsigned int count = 10;
  unsigned long const results[] = {
      strain([&] { return configuration->get_value("Robot/Arm", "joints", &real); }),
      strain([&] { return configuration->get_value("Robot/Arm:1", "joints", &whole); }),
      strain([&] { return configuration->get_value("Robot\\Arm", "joints", &natural); }),
      strain([&] { return configuration->get_value("Robot/Arm", "name", &text); }),
      strain([&] { return configuration->get_series("Robot/Series", "values", series, &count); })};
  void const *const key =
      strain([&] { return configuration->find_key_with_value("Robot/Arm", "joints", "7"); });
  return worst({by_code(results[0], real == 6.0, {RESULT_NOT_FOUND}),
                by_code(results[1], whole == 7, {RESULT_NOT_FOUND}),
                by_code(results[2], natural == 6, {RESULT_NOT_FOUND}),
                by_code(results[3], text == "An arm with a long name", {RESULT_NOT_FOUND}),
                by_code(results[4], count == 7 && series[5] == 8 && series[6] == -3,
                        {RESULT_NOT_FOUND, RESULT_INVALID_ARGUMENT}),
                key != nullptr ? right_if(key == configuration->find_key("Robot/Arm:1"))
                               : Outcome::REFUSED});
}

Outcome miss_key() {
  NewText const err(STANDARD_ERROR);
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load("robot.xml", &outcome);
  if (source == nullptr) {
    return outcome;
  }
  Configuration const configuration(*source);
  bool const is_found =
      strain([&] { return configuration.find_key_with_value("Robot/Leg", "a", "b") != nullptr; });
  return is_found ? Outcome::WRONG : err.has("WARN  - Can't find key 'Robot/Leg'\n");
}

// A source over its own file.
std::unique_ptr<XmlConfigSource> load_copy(Outcome *outcome) {
  write_file(in_directory("edited.xml"), read_file(in_directory("robot.xml")));
  return load("edited.xml", outcome);
}

// Every save is atomic, and an edit that is refused changes nothing.
Outcome edit_file() {
  std::string const path = in_directory("edited.xml");
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load_copy(&outcome);
  if (source == nullptr) {
    return outcome;
  }
  Configuration configuration(*source);
  void const *const made = strain([&] { return configuration.create_key("Robot/Leg"); });
  if (made == nullptr) {
    return Outcome::REFUSED;
  }
  unsigned long const results[] = {
      strain([&] { return configuration.set_value("Robot/Leg", "toes", 5L, true); }),
      strain([&] { return configuration.set_value(made, nullptr, "name", "A leg", false); }),
      strain(
          [&] { return configuration.set_value("Robot/Leg", "name", "Another long leg", true); }),
      strain([&] { return configuration.delete_value("Robot/Arm", "joints"); }),
      strain([&] { return configuration.delete_key("Robot/Arm:1"); }),
      strain([&] { return configuration.commit(); })};
  if (results[5] == RESULT_SUCCESS && std::all_of(std::begin(results), std::end(results),
                                                  [](auto result) { return result == 0; })) {
    std::string const text = read_file(path);
    return right_if(text.find("<Leg toes=\"5\" name=\"Another long leg\"/>") != text.npos &&
                    text.find("<Arm name=") != text.npos && text.find("second") == text.npos);
  }
  unsigned long const result = *std::find_if(std::begin(results), std::end(results),
                                             [](unsigned long code) { return code != 0; });
  XmlConfigSource again;
  again.set_search_path(directory.c_str());
  if (again.init_source(static_cast<void const *>("edited.xml")) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  return by_code(result, false,
                 {RESULT_IO_ERROR, RESULT_NOT_FOUND, RESULT_INVALID_ARGUMENT, RESULT_FAILURE});
}

// By a key and a sub path. A refused edit is reported, and the others continue.
Outcome edit_below_key() {
  Outcome outcome = Outcome::WRONG;
  std::unique_ptr<XmlConfigSource> const source = load_copy(&outcome);
  if (source == nullptr) {
    return outcome;
  }
  Configuration configuration(*source);
  void const *const robot = configuration.find_key("Robot");
  double real = 0.0;
  long whole = 0;
  unsigned long natural = 0;
  long series[10];
  unsigned int count = 10;
  unsigned long const results[] = {
      strain([&] { return configuration.set_value(robot, "Arm", "length", 0.5, false); }),
      strain([&] { return configuration.set_value(robot, "Arm", "turns", -3L, false); }),
      strain([&] { return configuration.set_value(robot, "Arm", "parts", 3UL, false); }),
      strain([&] { return configuration.set_value("Robot/Arm", "weight", 0.5, false); }),
      strain([&] { return configuration.set_value("Robot/Arm", "number", 3UL, false); }),
      strain([&] { return configuration.get_value(robot, "Arm", "length", &real); }),
      strain([&] { return configuration.get_value(robot, "Arm", "turns", &whole); }),
      strain([&] { return configuration.get_value(robot, "Arm", "parts", &natural); }),
      strain([&] { return configuration.get_series(robot, "Series", "values", series, &count); }),
      strain([&] { return configuration.delete_value(robot, "Arm", "joints"); })};
  void const *const second =
      strain([&] { return configuration.find_key_with_value(robot, "Arm", "joints", "7"); });
  bool const has_hands =
      strain([&] { return configuration.create_sub_key(robot, "Hand:2", false) != nullptr; });
  unsigned long const deleted = strain([&] { return configuration.delete_key(robot, "Arm:1"); });
  outcome = worst(
      {has_hands ? right_if(configuration.find_key("Robot/Hand:2") != nullptr) : Outcome::REFUSED,
       by_code(deleted, configuration.find_key("Robot/Arm:1") == nullptr,
               {RESULT_INVALID_ARGUMENT, RESULT_IO_ERROR}),
       second != nullptr ? Outcome::RIGHT : Outcome::REFUSED});
  for (unsigned long const result : results) {
    outcome = worst({outcome, by_code(result, true,
                                      {RESULT_NOT_FOUND, RESULT_INVALID_ARGUMENT, RESULT_IO_ERROR,
                                       RESULT_FAILURE})});
  }
  bool const is_right = real == 0.5 && whole == -3 && natural == 3 && count == 7;
  return outcome == Outcome::RIGHT ? right_if(is_right) : outcome;
}

Outcome create_file() {
  std::string const path = in_directory("created.xml");
  XmlConfigSource source;
  unsigned long const created = strain([&] {
    return source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, path.c_str(), "Behaviors");
  });
  if (created != RESULT_SUCCESS) {
    return by_code(created, false, {RESULT_FAILURE});
  }
  unsigned long const written = strain([&] { return source.commit(); });
  bool const is_written = read_file(path).find("<Behaviors/>") != std::string::npos;
  return by_code(written, is_written, {RESULT_FAILURE});
}

Outcome open_repository() {
  XmlConfigSource source;
  if (source.set_search_path(directory.c_str()) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  std::string name;
  void const *const key = strain([&] { return source.open_repository("devices.camera"); });
  bool const is_right = key != nullptr && source.get_key_name(key, &name) && name == "Camera";
  strain([&] {
    source.close_repository("devices.camera");
    return 0;
  });
  return all_or_nothing(is_right, key == nullptr);
}

// --- The user's settings ----------------------------------------------------------------------

Outcome get_setting(char const *key, char const *expected) {
  std::string value = "before";
  unsigned long const result = strain([&] { return UserConfig::get_user_config(key, &value); });
  return value == "before" || result == RESULT_SUCCESS ? by_code(result, value == expected)
                                                       : Outcome::WRONG;
}

Outcome get_declared_alias() {
  return get_setting("$Speed", "0.75, which is a rather long number");
}

Outcome get_built_in_alias() {
  return get_setting("$ObstacleAvoidanceMethod", "Potential fields, or so");
}

Outcome refuse_setting() {
  NewText const err(STANDARD_ERROR);
  std::string value;
  unsigned long const result =
      strain([&] { return UserConfig::get_user_config("no key, but a long text", &value); });
  return result == RESULT_FAILURE ? err.is("WARN  - Malformed key + value. Valid keys should be of "
                                           "the form root/key(1..n)/value\n")
                                  : by_code(result, false);
}

Outcome set_setting() {
  char const *const key = "UserConfig/Drive/A value that only this process has";
  unsigned long const result =
      strain([&] { return UserConfig::set_user_config(key, "text that needs memory", false); });
  return result != RESULT_SUCCESS ? by_code(result, false)
                                  : get_setting(key, "text that needs memory");
}

Outcome commit_setting() {
  unsigned long const result = strain(
      [] { return UserConfig::set_user_config("UserConfig/Made/Committed", "for good", true); });
  if (result != RESULT_SUCCESS) {
    return by_code(result, false, {RESULT_FAILURE});
  }
  std::string const text = read_file(in_directory("user-config.xml"));
  return right_if(text.find("<Made Committed=\"for good\"/>") != text.npos &&
                  text.find("Potential fields") != text.npos);
}

// --- The library as C sees it, and the rest ---------------------------------------------------

Outcome log_from_c() {
  NewText const err(STANDARD_ERROR);
  strain([] {
    ovra_log__warn("Torture.C.Category", "x=%d", "a.c", 12, 5);
    return ovra_log__info("Torture.C.Another.Category", "y=%d", 6);
  });
  std::string const text = err.text();
  return text.find("  x=5 [a.c:12]\n") != text.npos && text.find("INFO  - y=6\n") != text.npos
             ? Outcome::RIGHT
             : Outcome::REFUSED;
}

Outcome use_array_from_c() {
  double const values[] = {1.0, 2.0, 3.0};
  ovra_array *const array = strain([&] { return ovra_doublearray__create(values, 3); });
  if (array == nullptr) {
    return Outcome::REFUSED;
  }
  unsigned long result = RESULT_SUCCESS;
  for (int i = 0; i < 40 && result == RESULT_SUCCESS; ++i) {
    result = strain([&] { return ovra_doublearray__push_back(array, 4.0); });
  }
  bool const is_kept = ovra_doublearray__get(array, 2) == 3.0;
  Outcome const outcome = by_code(result, is_kept && ovra_array__get_size(array) == 43);
  ovra_doublearray__delete(array);
  return is_kept ? outcome : Outcome::WRONG;
}

Outcome get_setting_from_c() {
  char buffer[64] = "before";
  unsigned long const result = strain(
      [&] { return ovra_user_config__get_value("UserConfig/Drive/Speed", buffer, sizeof buffer); });
  return by_code(result, std::strcmp(buffer, "0.75, which is a rather long number") == 0);
}

Outcome convert_units_from_c() {
  double result = 0.0;
  unsigned long const code =
      strain([&] { return ovra_units__convert(0, "m", 2.0, "cm", &result); });
  unsigned long const refused =
      strain([&] { return ovra_units__set_default(0, "a unit that is none at all"); });
  return worst({by_code(code, result == 200.0),
                refused == RESULT_NOT_FOUND ? Outcome::RIGHT : by_code(refused, false)});
}

Outcome run_harness() {
  std::string name = "a program", verbose = "--verbose";
  char *arguments[] = {name.data(), verbose.data(), nullptr};
  NewText const err(STANDARD_ERROR);
  int status = 1;
  strain([&] {
    TestUtils test(2, arguments, /*needs_hardware=*/false, /*auto_exit=*/false);
    test.describe("A check of %s", "something");
    test.check(true);
    test.verbose_stream << "The number " << 1.5 << '\n';
    status = test.result();
    return TestUtils::is_interactive() ? 1 : 0;
  });
  restore_config_path(); // the destructor of the harness removes it
  return status == 0 && err.text().find("A check of something...") != std::string::npos &&
                 err.text().find("The number 1.5\n") != std::string::npos
             ? Outcome::RIGHT
             : Outcome::WRONG;
}

Outcome write_to_descriptor() {
  std::string const path = in_directory("stream.txt");
  int const descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  strain([&] {
    fdostream stream(descriptor);
    stream << "text and " << 7;
    return 0;
  });
  close(descriptor);
  return right_if(read_file(path) == "text and 7");
}

} // namespace

std::vector<Call> const &scenario() {
  static std::vector<Call> const calls = {
      {"an array grows", grow_array},
      {"an array is copied", copy_array},
      {"an array is reserved and assigned", reserve_array},
      {"an array is flattened", flatten_array},
      {"an array of characters", make_char_array},
      {"trim and split", trim_and_split},
      {"format a text", format_text},
      {"count references", count_references},
      {"lock a map", lock_map},
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
      {"log to the root", log_to_root},
      {"log where the environment says", log_where_environment_says},
      {"log to a file of its own", log_to_own_file},
      {"log with the time", log_with_time},
      {"change outputs", change_outputs},
      {"make a hierarchy", make_hierarchy},
      {"parse a logging specification", parse_specification},
      {"convert units", convert_units},
      {"refuse units", refuse_units},
      {"load a plain file", load_plain_file},
      {"load a difficult file", load_difficult_file},
      {"miss a source's file", miss_source_file},
      {"read typed values", read_typed_values},
      {"miss a key", miss_key},
      {"edit a file", edit_file},
      {"edit below a key", edit_below_key},
      {"create a file", create_file},
      {"open a repository", open_repository},
      {"get a declared alias", get_declared_alias},
      {"get a built-in alias", get_built_in_alias},
      {"refuse a setting", refuse_setting},
      {"set a setting", set_setting},
      {"commit a setting", commit_setting},
      {"log from C", log_from_c},
      {"use an array from C", use_array_from_c},
      {"get a setting from C", get_setting_from_c},
      {"convert units from C", convert_units_from_c},
      {"run the harness", run_harness},
      {"refuse a broken file", refuse_broken_file},
      {"write to a descriptor", write_to_descriptor},
  };
  return calls;
}

void write_scenario_files(std::string const &place) {
  auto const write = [&place](char const *name, char const *text) {
    write_file(place + '/' + name, text);
  };
  write("robot.xml", "<Robot>A text that needs memory to be kept, and a <Arm joints=\"6\" "
                     "name=\"An arm with a long name\"/><Arm joints=\"7\">second</Arm>"
                     " one<Series values=\"1 2 5:8 -3\"/></Robot>");
  write("latin.xml",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<!DOCTYPE R [<!ENTITY e \"an entity "
        "with a long text\">]>\n<R a=\"1\" b=\"\xE9\" b2=\"&lt;&#60;\">\xE9t\xE9 and <K c=\">\">"
        "&e;</K></R>");
  write("broken.xml", "<Robot><Arm></Robot>");
  write("devices/camera.xml", "<Camera name=\"front\"/>");
  write("user-config.xml",
        "<UserConfig>\n  <ObstacleAvoidance Method=\"Potential fields, or so\"/>\n"
        "  <Drive Speed=\"0.75, which is a rather long number\"/>\n  <Aliases>\n"
        "    <Alias name=\"First\" value=\"UserConfig/Drive/First\"/>\n"
        "    <Alias name=\"Second alias with a long name\" value=\"UserConfig/Drive/Second\"/>\n"
        "    <Alias name=\"Speed\" value=\"UserConfig/Drive/Speed\"/>\n"
        "  </Aliases>\n</UserConfig>\n");
  write("registry.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n"
                        "\"InstallPath\"=\"c:\\\\installed\\\\below\\\\a\\\\long\\\\path\"\n"
                        "\"SlamLandmarkPath\"=\"a place for the landmarks of the robot\"\n");
}

unsigned long kept_environments() {
  constexpr unsigned long BLOCKS_PER_ARRAY = 2; // the list's node, and the array
  return BLOCKS_PER_ARRAY * restorations;
}

void set_scenario_directory(std::string const &place) {
  directory = place;
}
