// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/SearchedFiles.hpp"

#include "core/base/config/UserConfig.hpp"
#include "tools/ostrel/Silence.hpp"

namespace Ostrel::Tool {

std::vector<SearchedFile> search_settings_file() {
  constexpr char const *ANY_KEY = "UserConfig/Any/Key"; // the places are the same for each
  Silence const silence;
  SettingExplanation explanation;
  UserConfig::explain_user_config(ANY_KEY, &explanation);
  std::vector<SearchedFile> files;
  bool is_found = false;
  for (SettingPlace const &place : explanation.places) {
    bool const is_candidate =
        place.state == SettingPlace::STATE_LOADED || place.state == SettingPlace::STATE_NOT_LOADED;
    files.push_back({place, place.state != SettingPlace::STATE_NO_FILE, is_candidate && !is_found});
    is_found = is_found || is_candidate;
  }
  return files;
}

} // namespace Ostrel::Tool
