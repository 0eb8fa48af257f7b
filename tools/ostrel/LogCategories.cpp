// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/LogCategories.hpp"

namespace Ostrel::Tool {

std::vector<std::string> const &log_categories() {
  static std::vector<std::string> const categories = {"Ostrel",
                                                      "Ostrel.Core",
                                                      "Ostrel.Core.Base",
                                                      "Ostrel.Core.Base.Configuration",
                                                      "Ostrel.Core.Base.EnvironmentSetup",
                                                      "Ostrel.Core.Base.Platform",
                                                      "Ostrel.Core.Base.TestUtils",
                                                      "Ostrel.Core.Base.Units",
                                                      "Ostrel.Core.Base.UserConfig",
                                                      "Ostrel.Core.Base.Win32ConditionVariable",
                                                      "Ostrel.Core.Base.Win32Mutex",
                                                      "Ostrel.Core.Base.Win32Platform",
                                                      "Ostrel.Core.Base.Win32SharedLibrary",
                                                      "Ostrel.Core.Base.XmlConfigSource"};
  return categories;
}

} // namespace Ostrel::Tool
