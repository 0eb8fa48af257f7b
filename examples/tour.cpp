// SPDX-License-Identifier: Apache-2.0

// A tour of the library's main job: finding, reading and changing settings, and logging. `./dev
// demo` runs it on a copy of the directory config.

#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/platform/Platform.hpp"

#include <array>
#include <cstdio>
#include <string>

using namespace Ostrel;

namespace {

// Logs what the tour does. Debug messages appear only if the environment lowers the threshold.
void begin_section(char const *title) {
  LoggingCategoryPostfixed log(&LoggingCategory::get_instance("Ostrel.Examples.Tour"));
  log.debug("Showing: %s", title);
  std::printf("\n%s\n", title);
}

char const *name_of(unsigned long result) {
  return result_code_get_name(result);
}

void show_where_the_file_is() {
  begin_section("Where the settings file is looked for, and found");
  std::string search_path;
  Platform::get_system_property(Platform::CONFIG_PATH, &search_path);
  std::string directory;
  for (int i = 0; Platform::get_seq_path(search_path, i, &directory) == RESULT_SUCCESS; ++i) {
    std::string file;
    bool const is_there =
        Platform::find_file(directory, "user-config.xml", &file) == RESULT_SUCCESS;
    std::printf("  %-10s %s\n", is_there ? "there" : "not there", directory.c_str());
  }
  std::string taken;
  if (Platform::find_system_file(Platform::CONFIG_PATH, "user-config.xml", &taken) ==
      RESULT_SUCCESS) {
    std::printf("  The first one is taken: %s\n", Platform::native_path(taken.c_str()).c_str());
  }
}

void show_setting(char const *key) {
  std::string value = "-";
  unsigned long const result = UserConfig::get_user_config(key, &value);
  std::printf("  %-36s %-16s %s\n", key, value.c_str(), name_of(result));
}

void read_settings() {
  begin_section("A setting by its full key, and by its alias");
  show_setting("UserConfig/ObstacleAvoidance/Method");
  show_setting("$ObstacleAvoidanceMethod");

  begin_section("An alias that the file declares, and one that nobody does");
  show_setting("$SpeechVolume");
  show_setting("$NoSuchAlias");
}

// Reads the file, not the settings of this process.
void show_what_the_file_says(char const *path, char const *name) {
  XmlConfigSource source;
  Configuration file(source);
  file.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr);
  std::string value = "-";
  unsigned long const result = file.get_value(path, name, &value);
  std::printf("  the file says %-22s %-16s %s\n", name, value.c_str(), name_of(result));
}

void change_settings() {
  begin_section("A change for this process alone");
  UserConfig::set_user_config("$SpeechVolume", "40", /*commit=*/false);
  show_setting("$SpeechVolume");
  show_what_the_file_says("UserConfig/Speech", "Volume");

  begin_section("Changes committed to the file: a value, and a new key");
  UserConfig::set_user_config("$ObstacleAvoidanceMethod", "Elastic & Gentle", /*commit=*/true);
  UserConfig::set_user_config("UserConfig/Docking/Speed", "0.1", /*commit=*/true);
  show_what_the_file_says("UserConfig/ObstacleAvoidance", "Method");
  show_what_the_file_says("UserConfig/Docking", "Speed");
}

void read_numbers() {
  XmlConfigSource source;
  Configuration settings(source);
  if (settings.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr) != RESULT_SUCCESS) {
    return;
  }

  begin_section("A number, and a series of them");
  double range_m = 0;
  settings.get_value("UserConfig/Sonar", "MaximumRange", &range_m);
  std::printf("  sonars measure up to %.1f m\n", range_m);

  std::string text;
  settings.get_value("UserConfig/Sonar", "Active", &text);
  std::array<long, 16> sonars = {};
  auto count = static_cast<unsigned int>(sonars.size());
  settings.get_series("UserConfig/Sonar", "Active", sonars.data(), &count);
  std::printf("  '%s' stands for", text.c_str());
  for (unsigned int i = 0; i < count; ++i) {
    std::printf(" %ld", sonars.at(i));
  }
  std::printf("\n");
}

void show_camera(Configuration const &resources, char const *repository) {
  begin_section("What the device's repository file says");
  void const *const camera = resources.find_repository_key(repository, nullptr);
  long width = 0;
  long height = 0;
  std::string mount;
  resources.get_value(camera, "Image", "width", &width);
  resources.get_value(camera, "Image", "height", &height);
  resources.get_value(camera, "Mount", nullptr, &mount);
  std::printf("  %s: %ld x %ld, '%s'\n", repository, width, height, mount.c_str());
}

void find_camera() {
  XmlConfigSource source;
  Configuration resources(source);
  if (resources.init_source(IConfigSource::CONFIG_ROOT_RESOURCES, nullptr) != RESULT_SUCCESS) {
    return;
  }

  begin_section("A device found by one of its values");
  void const *const device = resources.find_key_with_value("Resources/Device", "name", "camera");
  std::string bus;
  long address = 0;
  std::string repository;
  resources.get_value(device, nullptr, "bus", &bus);
  resources.get_value(device, nullptr, "address", &address);
  resources.get_value(device, nullptr, "repository", &repository);
  std::printf("  the camera is at %s:%ld, described in %s\n", bus.c_str(), address,
              repository.c_str());
  show_camera(resources, repository.c_str());
}

} // namespace

int main() {
  // Line-buffered, so that the library's messages appear in order.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  show_where_the_file_is();
  read_settings();
  change_settings();
  read_numbers();
  find_camera();
  return 0;
}
