// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"
#include "tests/config/LoadedSource.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using namespace Ostrel;

// Reads (`key`), sets (`key=text`) or sets and commits (`key!text`), and prints the outcome.
void use(std::string const &argument) {
  std::size_t const at = argument.find_first_of("=!");
  std::string const key = argument.substr(0, at);
  std::string text = "stale";
  if (at == std::string::npos) {
    unsigned long const result = UserConfig::get_user_config(key.c_str(), &text);
    std::printf("%lu %s\n", result, text.c_str());
  } else {
    std::printf("%lu\n", UserConfig::set_user_config(key.c_str(), argument.c_str() + at + 1,
                                                     argument[at] == '!'));
  }
}

// Constructed before the first use of a setting, destroyed after the last.
struct StaticUser {
  ~StaticUser() {
    use("UserConfig/New/Late!1");
    use("UserConfig/ObstacleAvoidance/Speed");
  }
};

Role const user_settings("user-settings", [](Role::Arguments const &arguments) {
  for (std::string const &argument : arguments) {
    if (argument == "at exit") {
      static StaticUser const user;
    } else {
      use(argument);
    }
  }
  return 0;
});

constexpr char SETTINGS[] = R"(<?xml version="1.0"?>
<UserConfig>
  <ObstacleAvoidance Method="vfh" Speed="3"/>
  <Aliases>
    <Alias name="Speed" value="UserConfig/ObstacleAvoidance/Speed"/>
    <Alias name="Half"/>
    <Alias value="UserConfig/ObstacleAvoidance/Speed"/>
    <Alias name="VisualAvoidanceTolerance" value="UserConfig/ObstacleAvoidance/Method"/>
    <Alias name="Broken" value="UserConfig/Method"/>
  </Aliases>
</UserConfig>
)";

constexpr char MALFORMED[] =
    "WARN  - Malformed key + value. Valid keys should be of the form root/key(1..n)/value\n";
constexpr char NO_VALUE[] = "WARN  - Unable to parse alias declaration in user configuration: "
                            "Could not find 'value' parameter.\n";

TEST(UserConfig, ReadsAndSetsByKeyAndAlias) {
  constexpr char METHOD[] = "UserConfig/ObstacleAvoidance/Method";
  constexpr char ALIAS[] = "$VisualAvoidanceTolerance"; // of the same key
  constexpr char NO_ROOT[] = "WARN  - Can't create new root key\n";
  struct {
    Role::Arguments arguments;
    std::string out;
    int malformed; // the number of warnings, without those about two aliases
    bool is_file_changed;
    char const *last_warning = "";
  } const cases[] = {
      {{METHOD, "$ObstacleAvoidanceMethod", METHOD}, "0 vfh\n0 vfh\n0 vfh\n", 0, false},
      {{"$Speed", ALIAS}, "0 3\n0 vfh\n", 0, false},
      {{"$speed", "$", "$Half", "$Broken", "$a/b/c"}, repeated("1 stale\n", 5), 5, false},
      {{"UserConfig/Method", "/UserConfig/A/B", "A/B="}, "1 stale\n1 stale\n1\n", 3, false},
      {{"UserConfig//A/B", "UserConfig/A/", ""}, "1 stale\n1 stale\n1 stale\n", 3, false},
      {{"$ObstacleAvoidanceMethod=new", METHOD, ALIAS}, "0\n0 new\n0 new\n", 0, false},
      {{"at exit", METHOD}, "0 vfh\n0\n0 3\n", 0, true},
      {{METHOD, "$ObstacleAvoidanceMethod!new", METHOD}, "0 vfh\n0\n0 new\n", 0, true},
      {{"UserConfig/New/Deep/Value!1", "UserConfig/New/Deep/Value"}, "0\n0 1\n", 0, true},
      {{"Other/New/Value!1", "Other/New/Value"}, "1\n1 stale\n", 0, false, NO_ROOT},
      {{"UserConfig/N/A=1", "UserConfig/N/A", "UserConfig/N/B"}, "0\n0 1\n1 stale\n", 0, false}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.arguments.back());
    TemporaryDirectory const directory;
    write_file(directory.path("user-config.xml"), SETTINGS);
    ChildResult const child =
        run_child("user-settings", c.arguments, {{"OSTREL_CONFIG_PATH", directory.path().c_str()}});
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.out, c.out);
    EXPECT_EQ(child.err, repeated(NO_VALUE, 2) + repeated(MALFORMED, c.malformed) + c.last_warning);
    EXPECT_EQ(read_file(directory.path("user-config.xml")) != SETTINGS, c.is_file_changed);
  }
}

TEST(UserConfig, WorksWithoutAFile) {
  TemporaryDirectory const directory;
  std::string const registry = directory.path("registry.reg");
  write_file(registry, registry_file("\"InstallPath\"=\"/nowhere\"\n"));
  ChildResult const child = run_child("user-settings",
                                      {"$ObstacleAvoidanceMethod", "$ObstacleAvoidanceMethod!x",
                                       "$ObstacleAvoidanceMethod", "$Speed"},
                                      {{"OSTREL_CONFIG_PATH", directory.path().c_str()},
                                       {"OSTREL_REGISTRY_FILE", registry.c_str()}});
  EXPECT_EQ(child.out, "0 stale\n0\n0 x\n1 stale\n");
  EXPECT_EQ(child.err, "WARN  - Unable to find file '" + directory.path() + "\\user-config.xml'\n" +
                           "WARN  - Unable to find file '/nowhere\\config\\user-config.xml'\n"
                           "WARN  - Unable to find file '.\\user-config.xml'\n"
                           "WARN  - Failed to find file 'user-config.xml'\n"
                           "WARN  - Failed to initialize source: The requested item or "
                           "information was not found.\n" +
                           MALFORMED);
}

TEST(UserConfig, RefusesNullArguments) {
  EXPECT_EQ(UserConfig::get_user_config("UserConfig/A/B", nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/B", nullptr, false), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(UserConfig::set_user_config(nullptr, "t", false), RESULT_FAILURE);
}

} // namespace
