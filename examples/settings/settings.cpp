// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"
#include "core/base/logging/LoggingCategory.hpp"

#include <iostream>
#include <string>

int main() {
  auto &log = Ostrel::LoggingCategory::get_instance("Robot.Settings");

  std::string method = "Stop"; // kept if there is no settings file
  auto result = Ostrel::UserConfig::get_user_config("$ObstacleAvoidanceMethod", &method);
  std::cout << method << ": " << Ostrel::result_code_get_name(result) << std::endl;

  Ostrel::UserConfig::set_user_config("UserConfig/Speech/Volume", "40", /*commit=*/false);
  std::string volume;
  Ostrel::UserConfig::get_user_config("UserConfig/Speech/Volume", &volume);
  log.info("speaking at %s %%", volume.c_str());
  return 0;
}
