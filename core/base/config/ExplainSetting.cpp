// SPDX-License-Identifier: Apache-2.0
// Why a setting has its value: what each place of the search holds.
#include "core/base/config/RootFiles.hpp"
#include "core/base/config/Settings.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/SystemErrorText.hpp"

#include <new>
#include <utility>

namespace Ostrel {

namespace {

SettingPlace::Origin origin_of(SearchPathElement const &element) {
  switch (element.origin) {
  case SearchPathElement::ORIGIN_ENVIRONMENT:
    return SettingPlace::ORIGIN_ENVIRONMENT;
  case SearchPathElement::ORIGIN_REGISTRY:
    return SettingPlace::ORIGIN_REGISTRY;
  default:
    return SettingPlace::ORIGIN_BUILT_IN;
  }
}

// The places of the search in their order, not looked into. Throws std::bad_alloc.
std::vector<SettingPlace> find_places() {
  std::vector<SearchPathElement> elements;
  if (Platform::get_search_path_elements(Platform::CONFIG_PATH, &elements) != RESULT_SUCCESS) {
    throw std::bad_alloc();
  }
  std::vector<SettingPlace> places;
  for (SearchPathElement &element : elements) {
    SettingPlace place;
    place.directory = std::move(element.directory);
    place.origin = origin_of(element);
    place.origin_name = std::move(element.origin_name);
    places.push_back(std::move(place));
  }
  SettingPlace last;
  last.origin = SettingPlace::ORIGIN_CURRENT_DIRECTORY;
  places.push_back(std::move(last));
  for (SettingPlace &place : places) {
    std::string const directory = place.directory.empty() ? "." : place.directory;
    place.file = native_form_of(directory + Platform::get_path_delimiter() +
                                file_name_of(IConfigSource::CONFIG_ROOT_USER_CONFIG));
  }
  return places;
}

// Opens the file of a place; false if that fails. The place receives what is wrong with the file.
bool open_file_of(SettingPlace *place) {
  File file;
  unsigned long const result = file.open_for_reading(place->file.c_str());
  if (result == RESULT_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  if (result != RESULT_SUCCESS && !file_was_missing()) {
    SystemErrorText const reason;
    place->state = SettingPlace::STATE_UNREADABLE;
    bool const is_directory = Platform::directory_exists(place->file.c_str()) == RESULT_SUCCESS;
    place->fault = is_directory ? "it is a directory" : reason.c_str();
  }
  if (result == RESULT_SUCCESS && !file.is_regular()) { // a read may wait, or change it
    place->fault = "it is not a regular file";
  }
  return result == RESULT_SUCCESS;
}

// Reads the setting from the file of a place.
void read_setting(SettingKey const &key, SettingPlace *place) {
  SettingsFile file;
  if (!file.load_from(place->file, &place->fault)) {
    return;
  }
  place->has_value = file.read(key, &place->value);
  place->line = place->has_value ? file.line_of(file.find_key(key.path.c_str())) : 0;
}

void look_into(SettingKey const &key, std::string const &loaded,
               std::vector<SettingPlace> *places) {
  bool is_found = false, has_loaded = false; // a directory may be in the search path twice
  for (SettingPlace &place : *places) {
    if (!open_file_of(&place)) {
      continue;
    }
    bool const is_loaded = place.file == loaded && !has_loaded;
    place.state = is_loaded  ? SettingPlace::STATE_LOADED
                  : is_found ? SettingPlace::STATE_SHADOWED
                             : SettingPlace::STATE_NOT_LOADED;
    is_found = true;
    has_loaded = has_loaded || is_loaded;
    if (place.fault.empty()) {
      read_setting(key, &place);
    }
  }
}

unsigned long explain(Settings &settings, SettingCache::Query const &query,
                      SettingExplanation *explanation) {
  SettingExplanation result;
  result.key = settings.resolve(query.text);
  std::optional<SettingKey> const parts = split_setting_key(result.key);
  if (!parts) {
    return RESULT_FAILURE;
  }
  if (query.text.front() == '$' && query.text.size() > 1) {
    result.aliases = settings.declarations(query.text.substr(1));
  }
  SettingsFile const &file = settings.file();
  result.places = find_places();
  look_into(*parts, file.is_loaded() ? file.path() : "", &result.places);
  CachedSetting *setting = nullptr;
  settings.find(query, &setting);
  CachedSetting const *const cached = settings.cache().find(query);
  result.is_set = setting != nullptr;
  result.value = result.is_set ? setting->text : "";
  if (cached != nullptr && cached->is_local) {
    result.source = SettingExplanation::SOURCE_PROCESS;
  } else if (result.is_set) {
    result.source = SettingExplanation::SOURCE_FILE;
    result.file = file.path();
    result.line = settings.line_of(*parts, result.value);
  }
  *explanation = std::move(result);
  return RESULT_SUCCESS;
}

} // namespace

unsigned long UserConfig::explain_user_config(char const *key,
                                              SettingExplanation *explanation) try {
  if (explanation == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  SettingCache::Query const query(key == nullptr ? "" : key);
  return with_settings([&](Settings &settings) { return explain(settings, query, explanation); });
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
