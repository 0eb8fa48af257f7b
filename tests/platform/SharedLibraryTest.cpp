// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32SharedLibrary.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/FailingAllocations.hpp"
#include "tests/support/System.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>

using namespace Ostrel;

namespace {

// As in other places, but for the loader of Windows, which does as always: it knows no separator
// but
// ";", completes names itself, and takes a library of the name that is loaded already.
#define FILE_NAME "plugin" TEST_EXTENSION

constexpr char const *DRIVE = ON_WINDOWS ? TEST_PLUGINS "\\second" : "C:\\" TEST_PLUGINS "\\second";
constexpr char const *COLON = ON_WINDOWS ? "P;second;first" : "P:second;first";
constexpr char const *CATEGORY = "Ostrel.Core.Base.Win32SharedLibrary";

struct LetGo {
  void operator()(ISharedLibrary *library) const { library->remove_ref(); }
};
using Library = std::unique_ptr<ISharedLibrary, LetGo>;

Library make_library(std::string const &name, std::string const &directory = "") {
  Library library(Platform::create_shared_library());
  library->set_name(name.c_str());
  library->add_search_path(directory.c_str());
  return library;
}

std::string place_of(ISharedLibrary const &library) {
  void *place = nullptr;
  return library.get_symbol("plugin_place", &place) == RESULT_SUCCESS
             ? static_cast<char const *>(place)
             : "-";
}

// Loads a library by its name with directories, and tells what came of it.
Role const load_role("library-load", [](Role::Arguments const &arguments) {
  std::filesystem::current_path(TEST_PLUGINS);
  Library const library = make_library(arguments[0]);
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    library->add_search_path(arguments[i].c_str());
  }
  void *seen = nullptr;
  unsigned long const result = library->load();
  library->get_symbol("plugin_seen", &seen);
  std::string after = "(none)";
  Platform::get_environment_variable("PATH", &after);
  std::cout << result << " " << place_of(*library) << " "
            << (seen != nullptr ? reinterpret_cast<char const *(*)()>(seen)() : "-") << " then "
            << after;
  return 0;
});

} // namespace

TEST(SharedLibrary, IsFoundAlongThePathOfOneLoad) {
  std::string const drive = DRIVE, colon = COLON;
  struct {
    Role::Arguments arguments; // the name, and what is added to the search path
    char const *path, *library_path;
    std::string out, err;
  } const cases[] = {
      {{"plugin", "A", "first;B"}, "P", "L", "0 first P;L;A;first;B then P", ""},
      {{"plugin", "second"}, nullptr, nullptr, "0 second second then (none)", ""},
      {{"plugin"}, "", "first", "0 first first then ", ""},
      {{"plugin", "first"}, "second", "", "0 second second;;first then second", ""},
      {{FILE_NAME}, COLON, nullptr, "0 second " + colon + " then " + colon, ""},
      {{"plugin"}, DRIVE, nullptr, "0 second " + drive + " then " + drive, ""},
      {{"second/" FILE_NAME, "first"}, "P", nullptr, "0 second P;first then P", ""},
      {{"second\\plugin"}, "P", nullptr, "0 second P then P", ""},
      {{"plugin", "nested"},
       "P",
       nullptr,
       "0 nested P;nested 0 P;nested;inner P;nested then P",
       ""},
      {{"plugin", "broken", "first"}, "P", nullptr, "10 - - then P", "'" FILE_NAME "' 193"},
      {{"plugin", "A"}, nullptr, nullptr, "10 - - then (none)", "'" FILE_NAME "' 126"},
      // An empty element is not the current directory, where the loader of Windows looks anyway.
      {{"here", ";A;"},
       ";P:",
       "",
       "10 - - then ;P:",
       ON_WINDOWS ? "'here" TEST_EXTENSION "' 193" : "'here" TEST_EXTENSION "' 126"},
      {{"second/plugin"},
       "P",
       nullptr,
       ON_WINDOWS ? "0 second P then P" : "10 - - then P",
       ON_WINDOWS ? "" : "'second/plugin' 126"},
      {{"./no/plugin", "first"}, "P", nullptr, "10 - - then P", "'./no/plugin' 126"},
      {{"", "first"}, "P", nullptr, "10 - - then P", "'" TEST_EXTENSION "' 126"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.out + " by " + c.arguments[0]);
    ChildResult const child = run_child(
        "library-load", c.arguments, {{"PATH", c.path}, {"OSTREL_LIBRARY_PATH", c.library_path}});
    std::string err = c.err;
    if (!err.empty()) {
      std::size_t const number = err.rfind(' ');
      err = "WARN  - Library " + err.substr(0, number) + " not found, with error '" +
            err.substr(number + 1) + "'\n";
    }
    EXPECT_EQ(child.out, c.out);
    EXPECT_EQ(child.err, err);
    EXPECT_EQ(child.status, 0);
  }
}

TEST(SharedLibrary, GoesFromStateToState) {
  void *address = &address;
  Library const library = make_library("plugin", TEST_PLUGINS "/first");
  EXPECT_EQ(library->get_symbol("plugin_place", &address), RESULT_INVALID_STATE);
  EXPECT_EQ(address, &address);
  EXPECT_EQ(library->unload(), RESULT_SUCCESS);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(library->is_loaded());
    EXPECT_EQ(library->load() + library->load(), RESULT_SUCCESS);
    EXPECT_TRUE(library->is_loaded());
    EXPECT_EQ(library->set_name("other"), RESULT_INVALID_STATE);
    EXPECT_EQ(library->set_name(nullptr), RESULT_INVALID_STATE);
    EXPECT_STREQ(library->get_name(), "plugin");
    EXPECT_EQ(library->get_symbol("plugin_place", nullptr), RESULT_INVALID_ARGUMENT);
    for (char const *symbol : {static_cast<char const *>(nullptr), "", "missing", "getenv"}) {
      address = &address;
      EXPECT_EQ(library->get_symbol(symbol, &address), RESULT_NOT_FOUND);
      EXPECT_EQ(address, nullptr);
    }
    EXPECT_EQ(library->unload(), RESULT_SUCCESS);
    EXPECT_EQ(library->get_symbol("plugin_place", &address), RESULT_INVALID_STATE);
  }
  EXPECT_EQ(library->set_name(nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(library->set_name(library->get_name() + 1), RESULT_SUCCESS);
  EXPECT_STREQ(library->get_name(), "lugin");
}

TEST(SharedLibrary, TellsWhyTheLoaderRefuses) {
  LoggingCategory::get_instance(CATEGORY).set_priority(LoggingPriority::DEBUG);
  CapturedLog log(CATEGORY);
  EXPECT_EQ(make_library(TEST_PLUGINS "/broken/" FILE_NAME)->load(), RESULT_NOT_FOUND);
  auto const lines = log.take();
  ASSERT_EQ(lines.size(), ON_WINDOWS ? 1U : 2U); // there it has no more to say than the number
  EXPECT_TRUE(ON_WINDOWS || lines[1].find("plugin.so: ") != std::string::npos) << lines[1];
  EXPECT_EQ(make_library("/nowhere" TEST_EXTENSION)->load(), RESULT_NOT_FOUND);
  EXPECT_EQ(log.take().size(), 1U);
  LoggingCategory::get_instance(CATEGORY).set_priority(LoggingPriority::NOT_SET);
}

TEST(SharedLibrary, CountsItsOwners) {
  ISharedLibrary *const library = make_library("plugin", TEST_PLUGINS "/first").release();
  Library const other = make_library("plugin", TEST_PLUGINS "/second");
  EXPECT_EQ(library->load() + other->load(), RESULT_SUCCESS);
  EXPECT_EQ(place_of(*library) + place_of(*other), ON_WINDOWS ? "firstfirst" : "firstsecond");
  void *result = nullptr;
  EXPECT_EQ(library->get_symbol("plugin_shared", &result), RESULT_SUCCESS);
  EXPECT_EQ(other->get_symbol("plugin_shared", &result), RESULT_SUCCESS);
  result = nullptr;
  for (char const *name : {static_cast<char const *>(nullptr), "", "Ostrel.ISharedObjects"}) {
    EXPECT_EQ(library->obtain_interface(0, name, &result), RESULT_NOT_IMPLEMENTED);
  }
  EXPECT_EQ(library->obtain_interface(0, "Ostrel.ISharedObject", nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(library->ref_count(), 1U);
  EXPECT_EQ(library->obtain_interface(7, ISharedLibrary::INTERFACE_ID, &result), RESULT_SUCCESS);
  EXPECT_EQ(result, library);
  EXPECT_EQ(library->add_ref(), 3U);
  EXPECT_EQ(library->remove_ref() + library->remove_ref() + library->remove_ref(), 2U + 1U + 0U);
}

TEST(SharedLibrary, LoadsInThreadsLeaveThePathAsItWas) {
  std::string before, after;
  Platform::get_environment_variable("PATH", &before);
  in_threads(4, [](int index) {
    constexpr char const *PLACES[] = {"first", "second", "nested"};
    char const *const place = PLACES[index % 3];
    for (int i = 0; i < 100; ++i) {
      Library const library = make_library("plugin", std::string(TEST_PLUGINS "/") + place);
      library->load();
      EXPECT_TRUE(ON_WINDOWS ? library->is_loaded() : place_of(*library) == place) << place;
    }
  });
  Platform::get_environment_variable("PATH", &after);
  EXPECT_EQ(after, before);
}

TEST(SharedLibrary, ChangesNothingWithoutMemory) {
  // Allocates nothing of its own when it is loaded.
  constexpr char const *NAME = ON_WINDOWS ? "kernel32.dll" : "libm.so.6";
  std::string const directory = TEST_PLUGINS "/first", name = std::string(100, 'x') + "/..";
  std::string before, after;
  Platform::get_environment_variable("PATH", &before);
  CapturedLog log(CATEGORY);
  bool has_failed = true;
  for (int count = 0; has_failed; ++count) {
    Library const library = make_library(NAME);
    fail_allocation(count);
    unsigned long const added = library->add_search_path(directory.c_str());
    unsigned long const loaded = library->load();
    unsigned long const unloaded = library->unload();
    unsigned long const named = library->set_name(name.c_str());
    has_failed = stop_failing();
    Platform::get_environment_variable("PATH", &after);
    EXPECT_EQ(after, before);
    EXPECT_EQ(added + loaded + unloaded + named == RESULT_SUCCESS, !has_failed) << count;
    EXPECT_EQ(library->get_name(), named == RESULT_SUCCESS ? name : NAME);
  }
  auto const lines = log.take();
  std::set<std::string> expected = {"WARN  - Failed to set temporary PATH"};
  if (!ON_WINDOWS) { // where the system's loader takes its memory elsewhere
    expected.insert("WARN  - Library 'libm.so.6' not found, with error '8'");
  }
  EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()), expected);
  fail_allocation(0);
  EXPECT_EQ(Platform::create_shared_library(), nullptr);
  EXPECT_TRUE(stop_failing());
}
