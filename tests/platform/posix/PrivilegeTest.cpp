// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

using Ostrel::Platform;

namespace {

std::string read_variable(char const *name) {
  std::string value;
  return Platform::get_environment_variable(name, &value) ? value : "(none)";
}

// Tells what the library makes of an environment that has moved, whether others find it as it was,
// and what becomes of what the program sets and removes itself.
Role const told_role("told", [](Role::Arguments const &) {
  static std::vector<char *> moved;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    moved.push_back(strdup(*entry));
  }
  moved.push_back(nullptr);
  environ = moved.data();
  char const *const before = std::getenv("PATH");
  for (auto const property : {Platform::INSTALL_PATH, Platform::CONFIG_PATH, Platform::DATA_PATH}) {
    std::string path;
    Platform::get_system_property(property, &path);
    std::printf("%s\n", path.c_str());
  }
  Ostrel::LoggingCategory::get_instance("a").warn("line");
  for (auto const name :
       {"OSTREL_LOG_OUTPUT", "OSTREL_LOG_PRIORITY", "OVRA_LOG_TIMESTAMP", "srcdir"}) {
    std::printf("%s\n", read_variable(name).c_str());
  }
  setenv("OSTREL_DATA_PATH", "/mine", 1);
  Ostrel::ISharedLibrary *const library = Platform::create_shared_library();
  library->set_name("plugin");
  std::printf("%lu %s %d %s\n", library->load(), read_variable("PATH").c_str(),
              std::getenv("PATH") == before ? 1 : 0, getauxval(AT_SECURE) != 0 ? "secure" : "");
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

TEST(Environment, IsNotTrustedByAProgramWithMoreRights) {
  constexpr uid_t NOBODY = 65534;
  TemporaryDirectory const directory;
  std::string const program = directory.path("program"), registry = directory.path("registry");
  std::string const log = directory.path("log");
  std::string const hostile =
      "/usr/bin/env -i PATH=" TEST_PLUGINS "/first OSTREL_LIBRARY_PATH=" TEST_PLUGINS
      "/first OSTREL_CONFIG_PATH=/x OSTREL_DATA_PATH=/x OSTREL_REGISTRY_FILE=" +
      registry + " OSTREL_LOG_PRIORITY=a,WARN OSTREL_LOG_OUTPUT=" + log +
      " OVRA_LOG_TIMESTAMP=yes srcdir=/x " + program + " --role told";
  std::string const empty = "/usr/bin/env -i " + program + " --role told";
  write_file(registry, registry_file("\"InstallPath\"=\"/x\"\n"));
  std::filesystem::copy_file("/proc/self/exe", program);
  EXPECT_NE(output_of(hostile), output_of(empty));
  EXPECT_TRUE(std::filesystem::remove(log));
  if (chown(directory.path("").c_str(), NOBODY, NOBODY) != 0 || // it could write there
      chown(program.c_str(), NOBODY, NOBODY) != 0 || chmod(program.c_str(), S_ISUID | 0755) != 0 ||
      output_of(empty).find("secure") == std::string::npos) {
    GTEST_SKIP() << "nobody's program cannot be run with his rights here";
  }
  EXPECT_EQ(output_of(hostile), output_of(empty));
  EXPECT_FALSE(std::filesystem::exists(log));
}
