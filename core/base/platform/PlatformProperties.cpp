// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Win32PlatformCategory.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Ostrel {

namespace {

constexpr char const *REGISTRY_KEY = "Software\\Ostrel Labs\\OVRA";
constexpr char const *INSTALL_VALUE = "InstallPath";
constexpr std::size_t NUMBER_SIZE = 16; // characters of a 32-bit number, terminator included

struct PropertySources {
  char const *variable;   // of the environment; null when there is none
  char const *value;      // of the registry; null when there is none
  char const *relative;   // below the installation directory
  char const *build_time; // where there is no installation
};

// By the number of the property.
constexpr PropertySources SOURCES[] = {
    {nullptr, INSTALL_VALUE, nullptr, "c:\\OVRA"},
    {"OSTREL_CONFIG_PATH", nullptr, "config", OSTBASE_CONFIG_DIR ";" OSTBASE_LOCAL_CONFIG_DIR},
    {"OSTREL_DATA_PATH", "DataPath", "data", OSTBASE_DATA_DIR},
    {"OSTREL_AUDIO_PATH", "AudioPath", "audio", OSTBASE_DATA_DIR "/audio"},
    {"OSTREL_IMAGES_PATH", "ImagesPath", "images", OSTBASE_DATA_DIR "/images"},
    {"OSTREL_FACES_PATH", "FacesPath", "data\\faces", OSTBASE_DATA_DIR "/faces"},
    {"OSTREL_MODELSETS_PATH", "ModelsetsPath", "data\\objrec\\default",
     OSTBASE_DATA_DIR "/objrec/default"},
    {"OSTREL_SLAM_LANDMARK_PATH", "SlamLandmarkPath", "data\\slam", OSTBASE_DATA_DIR "/slam"},
};
static_assert(sizeof SOURCES / sizeof SOURCES[0] == Platform::SLAM_LANDMARK_PATH + 1);

struct CloseKey {
  void operator()(void *key) const noexcept { RegCloseKey(static_cast<HKEY>(key)); }
};
using OpenKey = std::unique_ptr<void, CloseKey>;

// Makes a text of the bytes of a registry value. A string may be stored without its terminator, and
// a number with fewer bytes than it has. False for any other type.
bool registry_text(DWORD type, BYTE const *data, DWORD size, std::string *out) {
  if (type == REG_SZ) {
    auto const *text = reinterpret_cast<char const *>(data);
    out->assign(text, strnlen(text, size));
    return true;
  }
  DWORD number = 0;
  if (type != REG_DWORD || size != sizeof number) {
    return false;
  }
  std::memcpy(&number, data, sizeof number);
  char text[NUMBER_SIZE];
  ovra_snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(number));
  *out = text;
  return true;
}

// What a call of the registry means for the value. A value that cannot be read at this moment must
// not look like one that does not exist: another file would be found. Throws std::bad_alloc without
// memory.
unsigned long result_of(LONG error) {
  if (error == ERROR_NOT_ENOUGH_MEMORY) {
    throw std::bad_alloc();
  }
  if (error == ERROR_SUCCESS) {
    return RESULT_SUCCESS;
  }
  return is_momentary(static_cast<std::uint32_t>(error)) ? RESULT_SYSTEM_ERROR : RESULT_NOT_FOUND;
}

// RESULT_SUCCESS, RESULT_NOT_FOUND (also for a null name and another type) or RESULT_SYSTEM_ERROR.
unsigned long read_registry_value(char const *name, std::string *out) {
  if (name == nullptr) {
    return RESULT_NOT_FOUND;
  }
  HKEY opened = nullptr;
  if (unsigned long const result =
          result_of(RegOpenKeyExA(HKEY_LOCAL_MACHINE, REGISTRY_KEY, 0, KEY_READ, &opened));
      result != RESULT_SUCCESS) {
    return result;
  }
  OpenKey const key(opened);
  DWORD type = 0, size = 0;
  if (unsigned long const result =
          result_of(RegQueryValueExA(opened, name, nullptr, nullptr, nullptr, &size));
      result != RESULT_SUCCESS) {
    return result;
  }
  std::vector<BYTE> data(std::size_t{size} + 1); // not null either where the value has no bytes
  unsigned long const result =
      result_of(RegQueryValueExA(opened, name, nullptr, &type, data.data(), &size));
  if (result == RESULT_SUCCESS && !registry_text(type, data.data(), size, out)) {
    return RESULT_NOT_FOUND;
  }
  return result;
}

// These write the property, or return RESULT_SYSTEM_ERROR when the registry cannot be read at this
// moment.

// Appends the directory that always comes last: the installed one, else that of the build tree.
unsigned long append_default(PropertySources const &sources, std::string *path) {
  std::string installation;
  unsigned long const result = read_registry_value(INSTALL_VALUE, &installation);
  if (result == RESULT_SYSTEM_ERROR) {
    return result;
  }
  if (result != RESULT_SUCCESS) {
    *path += sources.build_time;
    return RESULT_SUCCESS;
  }
  *path += installation;
  if (!path->empty() && path->back() != '\\') {
    *path += Platform::get_path_delimiter();
  }
  *path += sources.relative;
  return RESULT_SUCCESS;
}

unsigned long install_path(PropertySources const &sources, std::string *path) {
  unsigned long const result = read_registry_value(sources.value, path);
  if (result != RESULT_NOT_FOUND) {
    return result;
  }
  *path = sources.build_time;
  return RESULT_SUCCESS;
}

// The user's own directories first, then the default one. `empty_counts` says whether the registry
// stays unread when the variable is set to the empty text.
unsigned long search_path(PropertySources const &sources, bool empty_counts, std::string *path) {
  bool const is_set = read_environment(sources.variable, path);
  bool const is_final = is_set && (empty_counts || !path->empty());
  unsigned long const result = is_final ? static_cast<unsigned long>(RESULT_NOT_FOUND)
                                        : read_registry_value(sources.value, path);
  if (result == RESULT_SYSTEM_ERROR) {
    return result;
  }
  if (is_set || result == RESULT_SUCCESS) {
    *path += Platform::get_search_path_delimiter();
  }
  return append_default(sources, path);
}

// A single place: the first source that names one.
unsigned long single_directory(PropertySources const &sources, std::string *path) {
  if (read_environment(sources.variable, path) && !path->empty()) {
    return RESULT_SUCCESS;
  }
  unsigned long const result = read_registry_value(sources.value, path);
  if (result != RESULT_SUCCESS) {
    win32_platform_category().warn("Could not read registry value for %s\\%s", REGISTRY_KEY,
                                   sources.value);
  }
  if (result == RESULT_SYSTEM_ERROR) {
    return result;
  }
  return path->empty() ? append_default(sources, path) : static_cast<unsigned long>(RESULT_SUCCESS);
}

unsigned long read_property(Platform::SystemProperty property, std::string *path) {
  PropertySources const &sources = SOURCES[property];
  switch (property) {
  case Platform::INSTALL_PATH:
    return install_path(sources, path);
  case Platform::SLAM_LANDMARK_PATH:
    return single_directory(sources, path);
  default:
    return search_path(sources, /*empty_counts=*/property != Platform::MODELSETS_PATH, path);
  }
}

} // namespace

unsigned long Platform::get_system_property(SystemProperty property, std::string *out) try {
  if (out == nullptr || property < INSTALL_PATH || property > SLAM_LANDMARK_PATH) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string path;
  unsigned long const result = read_property(property, &path);
  if (result == RESULT_SUCCESS) {
    *out = std::move(path);
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
