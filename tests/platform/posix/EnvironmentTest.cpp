// SPDX-License-Identifier: Apache-2.0
// The C library's array of entries after changes, and which entries are trusted.
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/Process.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

using Ostrel::Platform;

namespace {

std::string shown(char const *text) {
  return text == nullptr ? "(none)" : text;
}

std::string read_variable(char const *name) {
  std::string value;
  return Platform::get_environment_variable(name, &value) ? value : "(none)";
}

// The environment of a program that is started now, sorted.
std::string inherited() {
  std::string all;
  Texts const entries = environment_entries();
  for (std::string const &entry : std::multiset<std::string>(entries.begin(), entries.end())) {
    EXPECT_EQ(shown(std::getenv(entry.substr(0, 1).c_str())), entry.substr(2));
    all += (all.empty() ? "" : " ") + entry;
  }
  return all;
}

// Prints the variables that the library removes at load, and those that the program sets and
// removes.
Role const told_role("told", [](Role::Arguments const &) {
  for (auto const property : {Platform::INSTALL_PATH, Platform::CONFIG_PATH, Platform::DATA_PATH}) {
    std::string path;
    Platform::get_system_property(property, &path);
    std::printf("%s\n", path.c_str());
  }
  Ostrel::LoggingCategory::get_instance("a").warn("line");
  for (auto const name :
       {"PATH", "OSTREL_LOG_OUTPUT", "OSTREL_LOG_PRIORITY", "OVRA_LOG_TIMESTAMP", "srcdir"}) {
    std::printf("%s\n", shown(std::getenv(name)).c_str());
  }
  std::printf("%s\n", shown(std::getenv("KEPT")).c_str());
  setenv("OSTREL_DATA_PATH", "/mine", 1);
  Ostrel::ISharedLibrary *const library = Platform::create_shared_library();
  library->set_name("plugin");
  std::printf("%lu %s\n", library->load(), getauxval(AT_SECURE) != 0 ? "secure" : "");
  _putenv("OSTREL_CONFIG_PATH=");
  std::printf("%d %s\n", std::getenv("OSTREL_CONFIG_PATH") == nullptr ? 1 : 0,
              read_variable("OSTREL_DATA_PATH").c_str());
  return 0;
});

std::string output_of(std::string const &command) {
  TemporaryDirectory const directory;
  std::string const out = directory.path("out");
  static_cast<void>(std::system((command + " >" + out + " 2>/dev/null").c_str()));
  return read_file(out);
}

} // namespace

TEST(Environment, AcceptsChangesByTheProgram) {
  static char twice[] = "TWICE=1", only[] = "ONLY=1", theirs_of_l[] = "L=put";
  static char *theirs[] = {twice, twice, only, nullptr};
  // The entries, since `setenv` restores the array that it allocated itself.
  static auto &before = *new std::vector<char *>; // read until the very end of the program
  for (char **entry = environ; before.empty() || before.back() != nullptr; ++entry) {
    before.push_back(*entry);
  }
  environ = theirs;
  EXPECT_EQ(_putenv("ONLY=") + _putenv("TWICE="), 0);
  struct {
    int (*change)();
    char const *then; // in a child
  } const steps[] = {
      {[] { return clearenv() + setenv("A", "1", 1) + setenv("B", "1", 1) + setenv("L", "1", 1); },
       "A=1 B=1 L=1"},
      {[] { return _putenv("B="); }, "A=1 L=1"},
      {[] { return setenv("L", "2", 1); }, "A=1 L=2"},
      {[] { return _putenv("A="); }, "L=2"},
      {[] { return putenv(theirs_of_l) + _putenv("C=1"); }, "C=1 L=put"},
      {[] { return _putenv("C=") + setenv("H", "1", 1) + _putenv("D=1"); }, "D=1 H=1 L=put"},
      {[] { return unsetenv("L") + _putenv("H="); }, "D=1"},
      {[] { return _putenv("D="); }, ""}};
  for (auto const &s : steps) {
    SCOPED_TRACE(s.then);
    EXPECT_EQ(s.change(), 0);
    EXPECT_EQ(inherited(), s.then);
  }
  for (int i = 0; i < 200; ++i) {
    SetEnvironmentVariableA(("V" + std::to_string(i)).c_str(), "x");
  }
  EXPECT_STREQ(std::getenv("V0"), "x");
  EXPECT_STREQ(std::getenv("V199"), "x");
  environ = before.data();
}

// A `getenv` in another thread while variables are removed and set.
TEST(Environment, AWalkFindsEveryVariableThatStays) {
  Texts const names = {"W0", "W1", "W2", "W3"};
  for (std::size_t row = 0; row < 20; ++row) {
    std::string const &removed = names[row / 5];
    SCOPED_TRACE(removed + " after " + std::to_string(row % 5));
    for (std::string const &name : names) {
      _putenv((name + "=x").c_str());
    }
    char **slot = environ + row % 5;
    std::set<std::string> met(environ, slot);
    _putenv((removed + "=").c_str());
    _putenv("NEW=x");
    while (*slot != nullptr) {
      met.insert(*slot++);
    }
    for (std::string const &name : names) {
      EXPECT_TRUE(name == removed || met.count(name + "=x") == 1) << name;
    }
    _putenv("NEW=");
  }
}

TEST(Environment, KeepsNoMoreThanTheDistinctValues) {
  SetEnvironmentVariableA("KEPT", "a");
  char const *const first = std::getenv("KEPT");
  char **const array = environ;
  for (int i = 0; i < 1000; ++i) {
    SetEnvironmentVariableA("KEPT", "b");
    SetEnvironmentVariableA("KEPT", nullptr);
    SetEnvironmentVariableA("KEPT", "a");
  }
  EXPECT_EQ(std::getenv("KEPT"), first);
  EXPECT_EQ(environ, array);
}

TEST(Environment, IsNotTrustedByAProgramWithMoreRights) {
  constexpr uid_t NOBODY = 65534;
  TemporaryDirectory const directory;
  std::string const program = directory.path("program"), registry = directory.path("registry");
  std::string const log = directory.path("log");
  std::string const hostile =
      "/usr/bin/env -i KEPT=1 'PATH=" TEST_PLUGINS "/first' 'OSTREL_LIBRARY_PATH=" TEST_PLUGINS
      "/first' OSTREL_CONFIG_PATH=/x OSTREL_DATA_PATH=/x OSTREL_REGISTRY_FILE=" +
      registry + " OSTREL_LOG_PRIORITY=a,WARN OSTREL_LOG_OUTPUT=" + log +
      " OVRA_LOG_TIMESTAMP=yes srcdir=/x " + program + " --role told";
  std::string const empty = "/usr/bin/env -i KEPT=1 " + program + " --role told";
  write_file(registry, registry_file("\"InstallPath\"=\"/x\"\n"));
  std::filesystem::copy_file("/proc/self/exe", program);
  EXPECT_NE(output_of(hostile), output_of(empty));
  EXPECT_TRUE(std::filesystem::remove(log));
  // The other user owns the directory, so that only the rule keeps the program from writing the
  // log.
  if (chown(directory.path("").c_str(), NOBODY, NOBODY) != 0 ||
      chown(program.c_str(), NOBODY, NOBODY) != 0 || chmod(program.c_str(), S_ISUID | 0755) != 0 ||
      output_of(empty).find("secure") == std::string::npos) {
    GTEST_SKIP() << "a program of another user cannot be run with that user's rights here";
  }
  EXPECT_EQ(output_of(hostile), output_of(empty));
  EXPECT_FALSE(std::filesystem::exists(log));
}
