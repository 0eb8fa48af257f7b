// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32SharedLibrary.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/System.hpp"
#include "tests/support/Threads.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

using namespace Ostrel;

namespace {

// The loader of Windows differs: its only separator is ";", it completes names itself, and it
// returns a library of the same name that is loaded already.
#define FILE_NAME "plugin" TEST_EXTENSION

constexpr char const *DRIVE = ON_WINDOWS ? TEST_PLUGINS "\\second" : "C:\\" TEST_PLUGINS "\\second";
constexpr char const *COLON = ON_WINDOWS ? "P;second;first" : "P:second;first";
// An empty element is not the current directory, which the loader of Windows always searches.
constexpr int HERE = ON_WINDOWS ? 193 : 126;
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

std::string path_variable() {
  std::string path = "(none)";
  Platform::get_environment_variable("PATH", &path);
  return path;
}

// Loads a library by name and search path, and prints the result.
Role const load_role("library-load", [](Role::Arguments const &arguments) {
  std::filesystem::current_path(TEST_PLUGINS);
  Library const library = make_library(arguments[0]);
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    library->add_search_path(arguments[i].c_str());
  }
  void *seen = nullptr;
  unsigned long const result = library->load();
  library->get_symbol("plugin_seen", &seen);
  std::cout << result << " " << place_of(*library) << " "
            << (seen != nullptr ? reinterpret_cast<char const *(*)()>(seen)() : "-") << " then "
            << path_variable();
  return 0;
});

// The log of a load that finds no file, with the error of Windows.
std::string not_found(std::string const &file, int error) {
  return "WARN  - Library '" + file + "' not found, with error '" + std::to_string(error) + "'\n";
}

} // namespace

TEST(SharedLibrary, IsFoundAlongThePathOfOneLoad) {
  std::string const drive = DRIVE, colon = COLON;
  struct {
    Role::Arguments arguments; // the name, and what is added to the search path
    char const *path;
    std::string out, err = {};
    char const *library_path = nullptr;
  } const cases[] = {
      {{"plugin", "A", "first;B"}, "P", "0 first P;L;A;first;B then P", "", "L"},
      {{"plugin", "second"}, nullptr, "0 second second then (none)"},
      {{"plugin"}, "", "0 first first then ", "", "first"},
      {{"plugin", "first"}, "second", "0 second second;;first then second", "", ""},
      {{FILE_NAME}, COLON, "0 second " + colon + " then " + colon},
      {{"plugin"}, DRIVE, "0 second " + drive + " then " + drive},
      {{"second/" FILE_NAME, "first"}, "P", "0 second P;first then P"},
      {{"second\\plugin"}, "P", "0 second P then P"},
      {{"plugin", "nested"}, "P", "0 nested P;nested 0 P;nested;inner P;nested then P"},
      {{"plugin", "broken", "first"}, "P", "10 - - then P", not_found(FILE_NAME, 193)},
      {{"plugin", "A"}, nullptr, "10 - - then (none)", not_found(FILE_NAME, 126)},
      {{"here", ";A;"}, ";P:", "10 - - then ;P:", not_found("here" TEST_EXTENSION, HERE), ""},
      {{"second/plugin"},
       "P",
       ON_WINDOWS ? "0 second P then P" : "10 - - then P",
       ON_WINDOWS ? "" : not_found("second/plugin", 126)},
      {{"./no/plugin", "first"}, "P", "10 - - then P", not_found("./no/plugin", 126)},
      {{"", "first"}, "P", "10 - - then P", not_found(TEST_EXTENSION, 126)}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.out + " by " + c.arguments[0]);
    ChildResult const child = run_child(
        "library-load", c.arguments, {{"PATH", c.path}, {"OSTREL_LIBRARY_PATH", c.library_path}});
    EXPECT_EQ(child.out, c.out);
    EXPECT_EQ(child.err, c.err);
    EXPECT_EQ(child.status, 0);
  }
}

TEST(SharedLibrary, LoadsAndUnloadsRepeatedly) {
  void *address = &address;
  Library const library = make_library("plugin", TEST_PLUGINS "/second");
  library->clear_search_path();
  library->add_search_path(TEST_PLUGINS "/first");
  EXPECT_EQ(library->get_symbol("plugin_place", &address), RESULT_INVALID_STATE);
  EXPECT_EQ(address, &address);
  EXPECT_EQ(library->unload(), RESULT_SUCCESS);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(library->is_loaded());
    EXPECT_EQ(library->load() + library->load(), RESULT_SUCCESS);
    EXPECT_TRUE(library->is_loaded());
    EXPECT_EQ(library->set_name(nullptr), RESULT_INVALID_STATE);
    EXPECT_STREQ(library->get_name(), "plugin");
    EXPECT_EQ(place_of(*library), "first");
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

TEST(SharedLibrary, LogsTheReasonOfTheLoader) {
  CapturedLog log(CATEGORY, LoggingPriority::DEBUG);
  EXPECT_EQ(make_library(TEST_PLUGINS "/broken/" FILE_NAME)->load(), RESULT_NOT_FOUND);
  auto const lines = log.take();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(ON_WINDOWS || lines[1].find("plugin.so: ") != std::string::npos) << lines[1];
  EXPECT_EQ(make_library("/nowhere" TEST_EXTENSION)->load(), RESULT_NOT_FOUND);
  std::string const reason = ON_WINDOWS ? "" : "': No such file or directory";
  EXPECT_NE(log.take().back().find("nowhere" TEST_EXTENSION + reason), std::string::npos);
}

TEST(SharedLibrary, CountsItsOwners) {
  ISharedLibrary *const library = make_library("plugin", TEST_PLUGINS "/first").release();
  Library const other = make_library("plugin", TEST_PLUGINS "/second");
  EXPECT_EQ(library->load() + other->load(), RESULT_SUCCESS);
  EXPECT_EQ(place_of(*library) + place_of(*other), ON_WINDOWS ? "firstfirst" : "firstsecond");
  void *result = nullptr;
  for (char const *name : {static_cast<char const *>(nullptr), "Ostrel.ISharedObjects"}) {
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

TEST(SharedLibrary, LoadsInThreadsRestoreThePath) {
  std::string const before = path_variable();
  in_threads(4, [](int index) {
    constexpr char const *PLACES[] = {"first", "second", "nested"};
    char const *const place = PLACES[index % 3];
    for (int i = 0; i < 100; ++i) {
      Library const library = make_library("plugin", std::string(TEST_PLUGINS "/") + place);
      library->load();
      EXPECT_TRUE(ON_WINDOWS ? library->is_loaded() : place_of(*library) == place) << place;
    }
  });
  EXPECT_EQ(path_variable(), before);
}
