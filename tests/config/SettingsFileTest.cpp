// SPDX-License-Identifier: Apache-2.0
// How the settings of a process and their file stay in step. Each test runs in a child with a fresh
// settings file, since a process reads its settings once.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/Setting.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/units/Units.hpp"
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Child.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Ostrel;
using Lines = std::vector<std::string>;

constexpr char CATEGORY[] = "Ostrel.Core.Base.UserConfig";
constexpr char FILE_NAME[] = "settings/user-config.xml"; // below the current directory of the child
constexpr char SETTINGS[] =
    "<UserConfig>\n"
    "  <A v=\"1\" w=\"x\"/>\n"
    "  <Aliases><Alias name=\"Short\" value=\"UserConfig/A/v\"/></Aliases>\n"
    "</UserConfig>\n";

std::string get(char const *key) {
  std::string text = "untouched";
  unsigned long const result = UserConfig::get_user_config(key, &text);
  return result == RESULT_SUCCESS ? text : result_code_get_name(result);
}

std::string in_file(char const *path, char const *name) {
  XmlConfigSource source;
  Configuration configuration(source);
  std::string text = "none";
  configuration.init_source(FILE_NAME);
  configuration.get_value(path, name, &text);
  return text;
}

void commit_elsewhere(std::string const &text) {
  write_file(FILE_NAME, text);
}

// --- Commits ----------------------------------------------------------------------------------

void commits_merge() {
  EXPECT_EQ(get("$Short"), "1");
  commit_elsewhere("<UserConfig><A v='2'/><B v='other'/></UserConfig>");
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/C/v", "mine", true), RESULT_SUCCESS);
  EXPECT_EQ(in_file("UserConfig/A", "v"), "2");
  EXPECT_EQ(in_file("UserConfig/B", "v"), "other");
  EXPECT_EQ(in_file("UserConfig/C", "v"), "mine");
  EXPECT_EQ(get("$Short"), "1") << "it was read before";
  EXPECT_EQ(get("UserConfig/B/v"), "other");
  commit_elsewhere("<UserConfig><A v='3'/><B v='gone!'/></UserConfig>"); // of the same size
  EXPECT_EQ(UserConfig::remove_user_config("UserConfig/B/v", true), RESULT_SUCCESS);
  EXPECT_EQ(in_file("UserConfig/A", "v") + in_file("UserConfig/B", "v"), "3none");
  std::filesystem::remove(FILE_NAME);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/C/v", "again", true), RESULT_SUCCESS);
  EXPECT_EQ(in_file("UserConfig/A", "v") + in_file("UserConfig/C", "v"), "3again");
}

void broken_files_stay() {
  CapturedLog log(CATEGORY);
  EXPECT_EQ(get("UserConfig/A/v"), "1");
  for (std::string const text : {"<UserConfig>\n<A v='4'>\n</UserConfig>", "", "no XML"}) {
    commit_elsewhere(text);
    EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "5", true), RESULT_FAILURE);
    EXPECT_EQ(UserConfig::reload(), RESULT_FAILURE);
    EXPECT_EQ(read_file(FILE_NAME), text);
    EXPECT_EQ(get("UserConfig/A/v") + get("UserConfig/A/w"), "1x");
  }
  EXPECT_EQ(
      log.take().at(0).find("WARN  - Unable to commit to 'settings/user-config.xml': line 3,"), 0U);
}

void locks_are_kept() {
  CapturedLog log(CATEGORY, LoggingPriority::LEVEL_DEBUG);
  int const directory = open("settings", O_RDONLY | O_CLOEXEC);
  flock(directory, LOCK_EX);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "2", true), RESULT_FAILURE);
  EXPECT_EQ(log.take(), Lines{"WARN  - Unable to commit to 'settings/user-config.xml': its "
                              "directory was locked for 2000 ms"});
  EXPECT_EQ(read_file(FILE_NAME), SETTINGS);
  close(directory);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "2", true), RESULT_SUCCESS);
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_EQ(in_file("UserConfig/A", "v"), "2");
}

// The lock is that of the target's directory, also after a change of the current directory.
void links_are_followed() {
  setenv("OSTREL_CONFIG_PATH", "./settings", 1); // counts as absolute
  write_file("target/file.xml", SETTINGS);
  std::filesystem::remove(FILE_NAME);
  std::filesystem::create_symlink("../target/file.xml", FILE_NAME);
  EXPECT_EQ(get("UserConfig/A/v"), "1");
  int const directory = open("settings", O_RDONLY | O_CLOEXEC);
  flock(directory, LOCK_EX);
  std::filesystem::current_path("target");
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "2", true), RESULT_SUCCESS);
  std::filesystem::current_path("..");
  close(directory);
  EXPECT_EQ(in_file("UserConfig/A", "v"), "2");
  EXPECT_TRUE(std::filesystem::is_symlink(FILE_NAME));
  EXPECT_EQ(count_entries("target"), 1);
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_SUCCESS);
}

// A process at the other end would receive the settings, or let the commit wait.
void pipes_are_refused() {
  EXPECT_EQ(get("UserConfig/A/v"), "1");
  std::filesystem::remove(FILE_NAME);
  ASSERT_EQ(mkfifo(FILE_NAME, 0600), 0);
  int const pipe = open(FILE_NAME, O_RDWR | O_CLOEXEC);
  CapturedLog log(CATEGORY);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "2", true), RESULT_FAILURE);
  EXPECT_EQ(log.take(), Lines{"WARN  - Unable to commit to 'settings/user-config.xml': it is not a "
                              "regular file"});
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_SUCCESS);
  SettingExplanation explanation;
  EXPECT_EQ(UserConfig::explain_user_config("UserConfig/A/v", &explanation), RESULT_SUCCESS);
  EXPECT_EQ(explanation.places.at(0).state, SettingPlace::STATE_LOADED);
  EXPECT_EQ(explanation.places.at(0).fault, "it is not a regular file");
  close(pipe);
}

void several_are_all_or_none() {
  using Settings = std::vector<std::pair<std::string, std::string>>;
  Settings const refused[] = {{{"UserConfig/A/v", "2"}, {"UserConfig/A", "3"}},
                              {{"UserConfig/A/v", "2"}, {"$None", "3"}},
                              {{"UserConfig/A/v", "2"}, {"Other/B/v", "3"}},
                              {{"UserConfig/New/v", "2"}, {"UserConfig/A/v", "\x01"}},
                              {{"UserConfig/A/v", std::string("2\0", 2)}}};
  for (Settings const &settings : refused) {
    SCOPED_TRACE(settings.back().first + "=" + settings.back().second);
    EXPECT_NE(UserConfig::set_user_configs(settings, true), RESULT_SUCCESS);
    EXPECT_EQ(read_file(FILE_NAME), SETTINGS);
    EXPECT_EQ(get("UserConfig/A/v"), "1");
    EXPECT_EQ(get("UserConfig/New/v"), "RESULT_FAILURE");
  }
  std::filesystem::rename("settings", "elsewhere"); // the writes fail
  EXPECT_EQ(UserConfig::set_user_configs({{"UserConfig/New/v", "2"}}, true), RESULT_FAILURE);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/New/v", "2", true), RESULT_FAILURE);
  EXPECT_EQ(UserConfig::remove_user_config("$Short", true), RESULT_FAILURE);
  EXPECT_EQ(get("UserConfig/New/v") + get("$Short"), "RESULT_FAILURE1");
  std::filesystem::rename("elsewhere", "settings");
  std::filesystem::remove(FILE_NAME); // the next commit writes it anew
  Settings const accepted = {{"$Short", "2"}, {"UserConfig/New/Deep/v", "3"}, {"$Short", "4"}};
  EXPECT_EQ(UserConfig::set_user_configs({}, true), RESULT_SUCCESS);
  EXPECT_EQ(UserConfig::set_user_configs(accepted, true), RESULT_SUCCESS);
  EXPECT_EQ(get("UserConfig/A/v") + get("UserConfig/New/Deep/v"), "43");
  EXPECT_EQ(in_file("UserConfig/A", "v") + in_file("UserConfig/New/Deep", "v"), "43");
  EXPECT_EQ(in_file("UserConfig/New", "v"), "none") << "of the commits that failed";
  EXPECT_EQ(UserConfig::set_user_configs({{"$Short", "5"}}, false), RESULT_SUCCESS);
  EXPECT_EQ(get("UserConfig/A/v") + in_file("UserConfig/A", "v"), "54");
}

// --- Removal and reload -----------------------------------------------------------------------

void removed_settings_are_missing() {
  EXPECT_EQ(UserConfig::remove_user_config("UserConfig/A/none", true), RESULT_NOT_FOUND);
  EXPECT_EQ(UserConfig::remove_user_config("$None", true), RESULT_FAILURE);
  EXPECT_EQ(UserConfig::remove_user_config("$Short", false), RESULT_SUCCESS);
  EXPECT_EQ(get("$Short") + get("UserConfig/A/v"), "RESULT_FAILURERESULT_FAILURE");
  EXPECT_EQ(UserConfig::remove_user_config("$Short", false), RESULT_NOT_FOUND);
  EXPECT_EQ(UserConfig::reload(), RESULT_SUCCESS);
  EXPECT_EQ(get("$Short") + in_file("UserConfig/A", "v"), "RESULT_FAILURE1");
  EXPECT_EQ(UserConfig::remove_user_config("$Short", true), RESULT_SUCCESS) << "from the file";
  EXPECT_EQ(in_file("UserConfig/A", "v"), "none");
  commit_elsewhere("<UserConfig><A w='x'/><B v='other'/></UserConfig>");
  EXPECT_EQ(UserConfig::remove_user_config("UserConfig/B/v", true), RESULT_SUCCESS);
  EXPECT_EQ(in_file("UserConfig/B", "v"), "none");
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "2", true), RESULT_SUCCESS);
  EXPECT_EQ(get("$Short"), "2");
  EXPECT_EQ(UserConfig::remove_user_config("$Short", true), RESULT_SUCCESS);
  EXPECT_EQ(get("$Short") + in_file("UserConfig/A", "v"), "RESULT_FAILUREnone");
  EXPECT_EQ(UserConfig::remove_user_configs({"UserConfig/A/w", "$Short"}, true), RESULT_NOT_FOUND);
  EXPECT_EQ(get("UserConfig/A/w") + in_file("UserConfig/A", "w"), "xx");
  EXPECT_EQ(UserConfig::set_user_config("$Short", "only here", false), RESULT_SUCCESS);
  EXPECT_EQ(UserConfig::remove_user_configs({"UserConfig/A/w", "$Short"}, true), RESULT_SUCCESS);
  EXPECT_EQ(get("$Short") + in_file("UserConfig/A", "w"), "RESULT_FAILUREnone");
  commit_elsewhere("<UserConfig><A z='1'/></UserConfig>");
  EXPECT_EQ(UserConfig::remove_user_configs({"UserConfig/A/z", "UserConfig/A/z"}, true),
            RESULT_SUCCESS);
  EXPECT_EQ(in_file("UserConfig/A", "z"), "none");
}

void reloads_read_the_file_afresh() {
  EXPECT_TRUE(UserConfig::is_available());
  EXPECT_EQ(get("$Short") + get("UserConfig/A/w"), "1x");
  UserConfig::set_user_config("UserConfig/A/w", "mine", false);
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_SUCCESS);
  commit_elsewhere("<UserConfig><A v='22' w='y'/><B v='3'/><Aliases>"
                   "<Alias name='Short' value='UserConfig/B/v'/>"
                   "<Alias name='Odd' value='$q/b/c'/></Aliases></UserConfig>");
  EXPECT_EQ(get("$Short"), "1");
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_SUCCESS);
  EXPECT_EQ(get("$Short") + get("UserConfig/A/v") + get("UserConfig/A/w"), "322mine");
  UserConfig::set_user_config("$Odd", "kept", false);
  EXPECT_EQ(UserConfig::reload(), RESULT_SUCCESS);
  EXPECT_EQ(get("$Odd"), "kept");
  std::filesystem::rename(FILE_NAME, "settings/away");
  write_file("user-config.xml", "<UserConfig><B v='of a later place'/></UserConfig>");
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_NOT_FOUND) << "also while it is being replaced";
  EXPECT_EQ(get("$Short"), "3");
  EXPECT_EQ(UserConfig::reload(), RESULT_SUCCESS);
  EXPECT_EQ(get("UserConfig/B/v"), "of a later place");
  std::filesystem::remove("settings/away");
}

// --- Values of other types --------------------------------------------------------------------

template <class T> void expect_typed(char const *text, T expected, char const *fault = nullptr) {
  SCOPED_TRACE(std::string(text) + " as " + typeid(T).name());
  CapturedLog log(CATEGORY);
  T const before = T(7);
  T value = before;
  UserConfig::set_user_config("UserConfig/Typed/v", text, false);
  EXPECT_EQ(UserConfig::get_user_config("UserConfig/Typed/v", &value),
            fault == nullptr ? RESULT_SUCCESS : RESULT_INVALID_TYPE);
  EXPECT_EQ(value, fault == nullptr ? expected : before);
  UserConfig::get_user_config("UserConfig/Typed/v", &value);
  EXPECT_EQ(log.take(), fault == nullptr
                            ? Lines{}
                            : Lines{"WARN  - UserConfig/Typed/v: '" + std::string(text) + "' " +
                                    fault + " (set in this process)"})
      << "one warning for two reads";
}

void typed_reads_are_strict() {
  for (char const *text : {"", "4,5", "4.5 ", " 4.5", "0x10", "1e", "nan", "inf", "+-1", "4.5m"}) {
    expect_typed<double>(text, 0, "is not a number");
  }
  expect_typed<double>("1e999", 0, "is out of range");
  expect_typed<double>("-4.5", -4.5);
  expect_typed<double>("+1e-3", 1e-3);
  expect_typed<double>(".5", .5);
  expect_typed<long>("-12", -12);
  expect_typed<long>("9223372036854775808", 0, "is out of range");
  expect_typed<long>("1.0", 0, "is not a whole number");
  expect_typed<unsigned long>("18446744073709551615", ~0UL);
  expect_typed<unsigned long>("-1", 0, "is not a whole number from 0 on");
  for (char const *text : {"true", "YES", "1"}) {
    expect_typed<bool>(text, true);
  }
  for (char const *text : {"False", "no", "0"}) {
    expect_typed<bool>(text, false);
  }
  expect_typed<bool>("on", false, "is not true or false");
}

void quantities_are_converted() {
  struct {
    char const *text;
    UnitType type;
    double value;
    char const *fault = nullptr;
  } const cases[] = {{"1.5 m", UNIT_TYPE_DISTANCE, 150},
                     {"1.5m", UNIT_TYPE_DISTANCE, 150},
                     {"-2e1 \tinches", UNIT_TYPE_DISTANCE, -50.8},
                     {"3", UNIT_TYPE_DISTANCE, 3},
                     {"250 ms", UNIT_TYPE_TIME, 0.25},
                     {"30 deg", UNIT_TYPE_ANGLE, 30 * 0.017453292519943295},
                     {"30 deg", UNIT_TYPE_DISTANCE, 0, "is an angle, not a distance"},
                     {"1,5 m", UNIT_TYPE_TIME, 0, "is not a time: there is no unit ',5 m'"},
                     {"m", UNIT_TYPE_DISTANCE, 0, "is not a distance"},
                     {"3 ", UNIT_TYPE_ANGLE, 0, "is not an angle: there is no unit ''"},
                     {"1e308 m", UNIT_TYPE_DISTANCE, 0, "is out of range"}};
  XmlConfigSource source;
  Configuration configuration(source);
  configuration.init_source(FILE_NAME);
  CapturedLog log(CATEGORY), facade_log("Ostrel.Core.Base.Configuration");
  for (auto const &c : cases) {
    SCOPED_TRACE(c.text);
    double value = 0, in_configuration = 0;
    unsigned long const result = c.fault == nullptr ? RESULT_SUCCESS : RESULT_INVALID_TYPE;
    UserConfig::set_user_config("UserConfig/A/v", c.text, false);
    configuration.set_value("UserConfig/A", "v", c.text, false);
    EXPECT_EQ(UserConfig::get_user_quantity("UserConfig/A/v", c.type, &value), result);
    EXPECT_EQ(configuration.get_quantity("UserConfig/A", "v", c.type, &in_configuration), result);
    EXPECT_DOUBLE_EQ(value, c.value);
    EXPECT_DOUBLE_EQ(in_configuration, c.value);
    std::string const warning = "WARN  - UserConfig/A/v: '" + std::string(c.text) + "' ";
    if (c.fault != nullptr) {
      EXPECT_EQ(log.take(), Lines{warning + c.fault + " (set in this process)"});
      EXPECT_EQ(facade_log.take(), Lines{warning + c.fault + " (./settings/user-config.xml:2)"});
    }
  }
  double value = 0;
  configuration.set_value("UserConfig/A", "v", "far", false);
  void const *const key = configuration.find_key("UserConfig/A");
  EXPECT_EQ(configuration.get_quantity(key, nullptr, "v", UNIT_TYPE_ANGLE, &value),
            RESULT_INVALID_TYPE);
  EXPECT_EQ(facade_log.take(),
            Lines{"WARN  - A/v: 'far' is not an angle (./settings/user-config.xml:2)"});
  EXPECT_EQ(UserConfig::get_user_quantity("UserConfig/A/v", UnitType(3), &value),
            RESULT_INVALID_ARGUMENT);
  Units::set_default_units(UNIT_TYPE_DISTANCE, "m");
  UserConfig::set_user_config("UserConfig/A/v", "3", false);
  UserConfig::get_user_quantity("UserConfig/A/v", UNIT_TYPE_DISTANCE, &value);
  EXPECT_EQ(value, 3);
}

void faults_name_the_line() {
  CapturedLog log(CATEGORY);
  double value = 0;
  long whole = 0;
  UserConfig::set_user_config("UserConfig/First/w", "1.5", true);
  UserConfig::get_user_config("UserConfig/First/w", &value);
  commit_elsewhere("<UserConfig>\n  <A v=\"1\" w=\"x\"/><First w='3'/>\n</UserConfig>\n");
  UserConfig::set_user_config("UserConfig/Second/v", "y", true);
  UserConfig::get_user_config("UserConfig/A/w", &value);
  UserConfig::get_user_config("UserConfig/Second/v", &value);
  UserConfig::get_user_config("UserConfig/First/w", &whole); // which the file has otherwise
  EXPECT_EQ(log.take(),
            (Lines{"WARN  - UserConfig/A/w: 'x' is not a number (settings/user-config.xml:3)",
                   "WARN  - UserConfig/Second/v: 'y' is not a number (settings/user-config.xml:5)",
                   "WARN  - UserConfig/First/w: '1.5' is not a whole number "
                   "(settings/user-config.xml)"}));
}

void settings_work_without_a_file() {
  std::filesystem::remove(FILE_NAME);
  EXPECT_FALSE(UserConfig::is_available());
  double number = 7;
  EXPECT_EQ(UserConfig::get_user_config("UserConfig/A/v", &number), RESULT_SUCCESS);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(UserConfig::remove_user_config("UserConfig/A/v", true), RESULT_NOT_FOUND);
  EXPECT_EQ(UserConfig::set_user_config("UserConfig/A/v", "mine", true), RESULT_SUCCESS);
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_NOT_FOUND);
  write_file(FILE_NAME, SETTINGS);
  EXPECT_EQ(UserConfig::reload_if_changed(), RESULT_SUCCESS);
  EXPECT_EQ(get("UserConfig/A/v") + get("UserConfig/A/w"), "minex") << "no file has the first";
}

void settings_follow_changes() {
  Setting<double> const reach{"$Short", 4.5}, missing{"UserConfig/None/v", 4.5};
  Setting<double> const angle{"UserConfig/A/angle", 0.5, UNIT_TYPE_ANGLE};
  Setting<long> const word{"UserConfig/A/w", 7};
  CapturedLog log(CATEGORY);
  Setting<bool> const malformed{"none", true}, unknown{"$None", true};
  EXPECT_EQ(reach.get(), 1);
  EXPECT_EQ(missing.get(), 4.5);
  EXPECT_EQ(word.get(), 7) << "which is no number";
  {
    Setting<bool> const short_lived{"UserConfig/A/v", false};
    EXPECT_TRUE(short_lived.get());
  }
  UserConfig::set_user_configs({{"UserConfig/A/v", "2"}, {"UserConfig/A/angle", "90 deg"}}, false);
  EXPECT_EQ(log.take().size(), 2U) << "each key warns once, not at each change";
  EXPECT_EQ(reach.get(), 2);
  EXPECT_DOUBLE_EQ(angle.get(), 90 * 0.017453292519943295);
  UserConfig::set_user_config("UserConfig/A/v", "far", false);
  UserConfig::remove_user_config("UserConfig/A/angle", false);
  EXPECT_EQ(reach.get(), 2) << "the last good one";
  EXPECT_DOUBLE_EQ(angle.get(), 90 * 0.017453292519943295);
  commit_elsewhere("<UserConfig><A w='8'/><None v='9'/></UserConfig>");
  UserConfig::reload();
  EXPECT_EQ(word.get(), 8);
  EXPECT_EQ(missing.get(), 9);
}

// --- Explanations -----------------------------------------------------------------------------

std::string describe(SettingPlace const &place) {
  constexpr char const *STATES[] = {"no file", "unreadable", "loaded", "shadowed", "not loaded"};
  return place.origin_name + " " + place.file + ": " + STATES[place.state] +
         (place.has_value ? " " + place.value + " in line " + std::to_string(place.line) : "") +
         (place.fault.empty() ? "" : " with a fault");
}

void explanations_show_every_place() {
  write_file("second/user-config.xml", "<UserConfig>\n\n<A\n v='shadowed'/></UserConfig>");
  write_file("third/user-config.xml", "<UserConfig>");
  setenv("OSTREL_CONFIG_PATH", "none;settings;second;third;settings", 1);
  SettingExplanation explanation;
  ASSERT_EQ(UserConfig::explain_user_config("$Short", &explanation), RESULT_SUCCESS);
  EXPECT_EQ(explanation.key, "UserConfig/A/v");
  EXPECT_EQ(explanation.value + explanation.file, "1settings/user-config.xml");
  EXPECT_EQ(explanation.line, 2);
  EXPECT_EQ(explanation.source, SettingExplanation::SOURCE_FILE);
  ASSERT_EQ(explanation.aliases.size(), 1U);
  EXPECT_EQ(explanation.aliases[0].file + std::to_string(explanation.aliases[0].line),
            "settings/user-config.xml3");
  char const *const places[] = {
      "OSTREL_CONFIG_PATH none/user-config.xml: no file",
      "OSTREL_CONFIG_PATH settings/user-config.xml: loaded 1 in line 2",
      "OSTREL_CONFIG_PATH second/user-config.xml: shadowed shadowed in line 3",
      "OSTREL_CONFIG_PATH third/user-config.xml: shadowed with a fault",
      "OSTREL_CONFIG_PATH settings/user-config.xml: shadowed 1 in line 2"};
  ASSERT_GT(explanation.places.size(), std::size(places));
  for (std::size_t i = 0; i < std::size(places); ++i) {
    EXPECT_EQ(describe(explanation.places[i]), places[i]);
  }
  EXPECT_EQ(explanation.places.back().origin, SettingPlace::ORIGIN_CURRENT_DIRECTORY);
  UserConfig::set_user_config("$Short", "mine", false);
  write_file("none/user-config.xml", "<UserConfig/>");
  UserConfig::explain_user_config("$Short", &explanation);
  EXPECT_EQ(explanation.source, SettingExplanation::SOURCE_PROCESS);
  EXPECT_EQ(explanation.value + explanation.file, "mine");
  EXPECT_EQ(describe(explanation.places[0]), "OSTREL_CONFIG_PATH none/user-config.xml: not loaded");
  EXPECT_EQ(UserConfig::explain_user_config("UserConfig/None/v", &explanation), RESULT_SUCCESS);
  EXPECT_FALSE(explanation.is_set);
  EXPECT_EQ(UserConfig::explain_user_config("$None", &explanation), RESULT_FAILURE);
  EXPECT_EQ(UserConfig::explain_user_config("UserConfig/None/v", nullptr), RESULT_INVALID_ARGUMENT);
}

void aliases_are_listed() {
  write_file(FILE_NAME, "<UserConfig>\n<Aliases>\n<Alias name='A' value='UserConfig/A/v'/>\n"
                        "<Alias name='A' value='UserConfig/B/v'/></Aliases></UserConfig>");
  std::vector<SettingAlias> aliases;
  ASSERT_EQ(UserConfig::list_aliases(&aliases), RESULT_SUCCESS);
  std::string all;
  for (SettingAlias const &alias : aliases) {
    all += alias.name + " " + alias.key + " " + std::to_string(alias.line) + "\n";
  }
  EXPECT_EQ(all, "A UserConfig/B/v 4\n"
                 "ObstacleAvoidanceMethod UserConfig/ObstacleAvoidance/Method 0\n"
                 "VisualAvoidanceTolerance UserConfig/VisualAvoidance/Tolerance 0\n");
  SettingExplanation explanation;
  UserConfig::explain_user_config("$A", &explanation);
  ASSERT_EQ(explanation.aliases.size(), 2U);
  EXPECT_EQ(explanation.aliases[0].key + explanation.aliases[1].key,
            "UserConfig/A/vUserConfig/B/v");
}

struct Scenario {
  char const *name;
  void (*run)();
};

constexpr Scenario SCENARIOS[] = {
    {"commits merge", commits_merge},
    {"broken files stay", broken_files_stay},
    {"locks are kept", locks_are_kept},
    {"links are followed", links_are_followed},
    {"pipes are refused", pipes_are_refused},
    {"several are all or none", several_are_all_or_none},
    {"removed settings are missing", removed_settings_are_missing},
    {"reloads read the file afresh", reloads_read_the_file_afresh},
    {"typed reads are strict", typed_reads_are_strict},
    {"quantities are converted", quantities_are_converted},
    {"faults name the line", faults_name_the_line},
    {"settings work without a file", settings_work_without_a_file},
    {"settings follow changes", settings_follow_changes},
    {"explanations show every place", explanations_show_every_place},
    {"aliases are listed", aliases_are_listed},
};

Role const scenario("settings-scenario", [](Role::Arguments const &arguments) {
  std::filesystem::current_path(arguments.at(1));
  SCENARIOS[std::stoul(arguments.at(0))].run();
  return testing::Test::HasFailure() ? 1 : 0;
});

TEST(SettingsFile, StaysInStepWithTheProcess) {
  for (std::size_t i = 0; i < std::size(SCENARIOS); ++i) {
    SCOPED_TRACE(SCENARIOS[i].name);
    TemporaryDirectory const directory;
    write_file(directory.path(FILE_NAME), SETTINGS);
    write_file(directory.path("registry.reg"), registry_file("\"InstallPath\"=\"/nowhere\"\n"));
    ChildResult const child =
        run_child("settings-scenario", {std::to_string(i), directory.path()},
                  {{"OSTREL_CONFIG_PATH", "settings"}, {"OSTREL_REGISTRY_FILE", "registry.reg"}});
    EXPECT_EQ(child.status, 0) << child.out << child.err;
    EXPECT_LE(count_entries(directory.path("settings")), 1) << "a file is left behind";
  }
}

} // namespace
