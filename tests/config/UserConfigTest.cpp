// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"
#include "tests/config/LoadedSource.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/FailingAllocations.hpp"
#include "torture/support/SystemCalls.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

#include <sys/syscall.h>

namespace {

using namespace Ostrel;

// Prints what each argument gives: `key`, `key=text` (set) or `key!text` (set and commit).
Role const user_settings("user-settings", [](Role::Arguments const &arguments) {
  for (std::string const &argument : arguments) {
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
  return 0;
});

constexpr char SETTINGS[] = R"(<?xml version="1.0"?>
<UserConfig>
  <ObstacleAvoidance Method="vfh" Speed="3"/>
  <Aliases>
    <Alias name="Speed" value="UserConfig/ObstacleAvoidance/Speed"/>
    <Alias name="Half"/>
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
  constexpr char ALIAS[] = "$VisualAvoidanceTolerance"; // of the same
  constexpr char NO_ROOT[] = "WARN  - Can't create new root key\n";
  struct {
    Role::Arguments arguments;
    char const *out;
    int malformed; // so many warnings, besides the one about the alias without a value
    bool is_file_changed;
    char const *last_warning = "";
  } const cases[] = {
      {{METHOD, "$ObstacleAvoidanceMethod", METHOD}, "0 vfh\n0 vfh\n0 vfh\n", 0, false},
      {{"$Speed", ALIAS}, "0 3\n0 vfh\n", 0, false},
      {{"$speed", "$", "$Half", "$Broken"}, "1 stale\n1 stale\n1 stale\n1 stale\n", 4, false},
      {{"UserConfig/Method", "/UserConfig/A/B", "A/B="}, "1 stale\n1 stale\n1\n", 3, false},
      {{"UserConfig//A/B", "UserConfig/A/", ""}, "1 stale\n1 stale\n1 stale\n", 3, false},
      {{"$ObstacleAvoidanceMethod=new", METHOD, ALIAS}, "0\n0 new\n0 new\n", 0, false},
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
    EXPECT_EQ(child.err, NO_VALUE + repeated(MALFORMED, c.malformed) + c.last_warning);
    EXPECT_EQ(read_file(directory.path("user-config.xml")) != SETTINGS, c.is_file_changed);
  }
}

TEST(UserConfig, WorksWithoutAFile) {
  TemporaryDirectory const directory;
  std::string const registry = directory.path("registry.reg");
  write_file(registry, "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n"
                       "\"InstallPath\"=\"/nowhere\"\n");
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

Role const first_without_descriptor("first-without-descriptor", [](Role::Arguments const &) {
  std::string text;
  judge_system_calls(
      [&text] {
        EXPECT_EQ(UserConfig::get_user_config("UserConfig/A/Speed", &text), RESULT_FAILURE);
        EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/Speed", "4", true), RESULT_FAILURE);
      },
      [](unsigned int, SystemCall const &call) {
        return Verdict{call.number == SYS_openat ? EMFILE : 0, false};
      });
  EXPECT_EQ(UserConfig::get_user_config("UserConfig/A/Speed", &text), RESULT_SUCCESS);
  EXPECT_EQ(text, "3");
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/Speed", "5", true), RESULT_SUCCESS);
  return 0;
});

TEST(UserConfig, IsSetUpAnewAfterAMomentWithoutDescriptors) {
  TemporaryDirectory const directory;
  std::string const registry = directory.path("registry.reg"), path = directory.path("config");
  for (Environment const &environment : {Environment{{"OSTREL_CONFIG_PATH", path.c_str()}},
                                         Environment{{"OSTREL_REGISTRY_FILE", registry.c_str()}}}) {
    write_file(registry, registry_file("\"InstallPath\"=\"" + directory.path() + "\"\n"));
    write_file(directory.path("config/user-config.xml"), "<UserConfig><A Speed='3'/></UserConfig>");
    ChildResult const child = run_child("first-without-descriptor", {}, environment);
    EXPECT_EQ(child.status, 0) << child.out << child.err;
    EXPECT_NE(read_file(directory.path("config/user-config.xml")).find("Speed=\"5\""),
              std::string::npos);
  }
}

Role const failed_sets("failed-sets", [](Role::Arguments const &) {
  long before = 0;
  for (int i = 0; i <= 100; ++i) {
    std::string const key = "Other/Key" + std::to_string(i) + "/Value";
    EXPECT_EQ(UserConfig::set_user_config(key.c_str(), "1", true), RESULT_FAILURE);
    before = i == 0 ? allocations_alive() : before; // the first one sets up
  }
  EXPECT_LT(allocations_alive(), before + 10);
  return 0;
});

TEST(UserConfig, ASetThatFailsKeepsNothing) {
  TemporaryDirectory const directory;
  write_file(directory.path("user-config.xml"), "<UserConfig/>");
  EXPECT_EQ(run_child("failed-sets", {}, {{"OSTREL_CONFIG_PATH", directory.path().c_str()}}).status,
            0);
}

TEST(UserConfig, NullArgumentsAreNotFollowed) {
  EXPECT_EQ(UserConfig::get_user_config("UserConfig/A/B", nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/B", nullptr, false), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(UserConfig::set_user_config(nullptr, "t", false), RESULT_FAILURE);
}

// Made before any setting is used, and gone after that.
struct StaticUser {
  ~StaticUser() {
    std::string text;
    UserConfig::set_user_config("UserConfig/A/Made", "1", /*commit=*/true);
    UserConfig::get_user_config("UserConfig/A/Speed", &text);
    std::fprintf(stderr, "%s", text.c_str());
  }
};

Role const static_user("static-user", [](Role::Arguments const &) {
  static StaticUser const user;
  std::string text;
  return UserConfig::get_user_config("UserConfig/A/Method", &text) == RESULT_SUCCESS ? 0 : 1;
});

TEST(UserConfig, WorksInDestructorsOfStaticObjects) {
  TemporaryDirectory const directory;
  write_file(directory.path("user-config.xml"),
             "<UserConfig><A Method='vfh' Speed='3'/></UserConfig>");
  ChildResult const child =
      run_child("static-user", {}, {{"OSTREL_CONFIG_PATH", directory.path().c_str()}});
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(child.err, "3");
  EXPECT_NE(read_file(directory.path("user-config.xml")).find("Made=\"1\""), std::string::npos);
}

} // namespace
