// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/Win32PlatformCategory.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstring>
#include <memory>
#include <new>
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

// Whether a call of the registry succeeded. A lack of memory must not look like a value that is not
// there: it flies on to the operation.
bool is_success(LONG result) {
  if (result == ERROR_NOT_ENOUGH_MEMORY) {
    throw std::bad_alloc();
  }
  return result == ERROR_SUCCESS;
}

bool read_registry(char const *name, std::string *out) {
  HKEY opened = nullptr;
  if (name == nullptr ||
      !is_success(RegOpenKeyExA(HKEY_LOCAL_MACHINE, REGISTRY_KEY, 0, KEY_READ, &opened))) {
    return false;
  }
  OpenKey const key(opened);
  DWORD type = 0, size = 0;
  if (!is_success(RegQueryValueExA(opened, name, nullptr, nullptr, nullptr, &size))) {
    return false;
  }
  std::vector<BYTE> data(std::size_t{size} + 1); // not null either where the value has no bytes
  return is_success(RegQueryValueExA(opened, name, nullptr, &type, data.data(), &size)) &&
         registry_text(type, data.data(), size, out);
}

// Appends the directory that always comes last: the installed one, else that of the build tree.
void append_default(PropertySources const &sources, std::string *path) {
  std::string installation;
  if (!read_registry(INSTALL_VALUE, &installation)) {
    *path += sources.build_time;
    return;
  }
  *path += installation;
  if (!path->empty() && path->back() != '\\') {
    *path += Platform::get_path_delimiter();
  }
  *path += sources.relative;
}

std::string install_path(PropertySources const &sources) {
  std::string path;
  return read_registry(sources.value, &path) ? path : sources.build_time;
}

// The user's own directories first, then the default one. `empty_counts` says whether a variable
// that is set to the empty text keeps the registry from being asked.
std::string search_path(PropertySources const &sources, bool empty_counts) {
  std::string path;
  bool const is_set = read_environment(sources.variable, &path);
  bool const is_final = is_set && (empty_counts || !path.empty());
  bool const is_registered = !is_final && read_registry(sources.value, &path);
  if (is_set || is_registered) {
    path += Platform::get_search_path_delimiter();
  }
  append_default(sources, &path);
  return path;
}

// A single place: the first source that names one.
std::string single_directory(PropertySources const &sources) {
  std::string path;
  if (read_environment(sources.variable, &path) && !path.empty()) {
    return path;
  }
  if (!read_registry(sources.value, &path)) {
    win32_platform_category().warn("Could not read registry value for %s\\%s", REGISTRY_KEY,
                                   sources.value);
  }
  if (path.empty()) {
    append_default(sources, &path);
  }
  return path;
}

} // namespace

unsigned long Platform::get_system_property(SystemProperty property, std::string *out) try {
  if (out == nullptr || property < INSTALL_PATH || property > SLAM_LANDMARK_PATH) {
    return RESULT_INVALID_ARGUMENT;
  }
  PropertySources const &sources = SOURCES[property];
  switch (property) {
  case INSTALL_PATH:
    *out = install_path(sources);
    break;
  case SLAM_LANDMARK_PATH:
    *out = single_directory(sources);
    break;
  default:
    *out = search_path(sources, /*empty_counts=*/property != MODELSETS_PATH);
    break;
  }
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
