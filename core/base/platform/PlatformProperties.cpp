// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <algorithm>
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

ClassCategory category("Ostrel.Core.Base.Win32Platform");

struct PropertySources {
  char const *variable;   // of the environment; null for none
  char const *value;      // of the registry; null for none
  char const *relative;   // below the installation directory
  char const *build_time; // used without an installation
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

// Converts a registry value to text. A string may be stored without its terminator. False for any
// other type, and for a number that does not have 4 bytes.
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
  *out = std::to_string(number);
  return true;
}

// Reads values of the registry, and records errors that are temporary.
class Registry {
public:
  // False, with `out` untouched, for a null name, a value that cannot be read, and one of another
  // type. Throws std::bad_alloc without memory.
  bool read(char const *name, std::string *out) {
    HKEY opened = nullptr;
    if (name == nullptr ||
        !succeeds(RegOpenKeyExA(HKEY_LOCAL_MACHINE, REGISTRY_KEY, 0, KEY_READ, &opened))) {
      return false;
    }
    OpenKey const key(opened);
    DWORD type = 0, size = 0;
    if (!succeeds(RegQueryValueExA(opened, name, nullptr, nullptr, nullptr, &size))) {
      return false;
    }
    std::vector<BYTE> data(std::size_t{size} + 1); // not null, even if the value is empty
    return succeeds(RegQueryValueExA(opened, name, nullptr, &type, data.data(), &size)) &&
           registry_text(type, data.data(), size, out);
  }

  bool had_temporary_error() const { return had_temporary_error_; }

private:
  bool succeeds(LONG error) {
    if (error == ERROR_NOT_ENOUGH_MEMORY) {
      throw std::bad_alloc();
    }
    had_temporary_error_ |= is_temporary(static_cast<std::uint32_t>(error));
    return error == ERROR_SUCCESS;
  }

  bool had_temporary_error_ = false;
};

// The origin of one part of a property's text.
struct Origin {
  SearchPathElement::Origin kind = SearchPathElement::ORIGIN_BUILT_IN;
  char const *name = "";
};

// The text of a property: the user's part and a delimiter, or nothing, and then the default part.
struct Property {
  std::string text;
  std::size_t default_start = 0;
  Origin user, fallback;
};

// Appends the default directory: that of the installation, else that of the build tree.
void append_default(PropertySources const &sources, Registry *registry, Property *property) {
  std::string &path = property->text;
  property->default_start = path.size();
  std::string installation;
  if (!registry->read(INSTALL_VALUE, &installation)) {
    path += sources.build_time;
    return;
  }
  property->fallback = {SearchPathElement::ORIGIN_REGISTRY, INSTALL_VALUE};
  path += installation;
  if (!path.empty() && path.back() != '\\') {
    path += Platform::get_path_delimiter();
  }
  path += sources.relative;
}

// The user's own directories, then the default. `empty_counts`: a variable that is set to the empty
// text also overrides the registry.
void search_path(PropertySources const &sources, bool empty_counts, Registry *registry,
                 Property *property) {
  bool const is_set = read_environment(sources.variable, &property->text);
  bool const is_final = is_set && (empty_counts || !property->text.empty());
  bool const is_read = !is_final && registry->read(sources.value, &property->text);
  if (is_set || is_read) {
    property->user = is_read ? Origin{SearchPathElement::ORIGIN_REGISTRY, sources.value}
                             : Origin{SearchPathElement::ORIGIN_ENVIRONMENT, sources.variable};
    property->text += Platform::get_search_path_delimiter();
  }
  append_default(sources, registry, property);
}

// A single place: the first source that names one.
void single_directory(PropertySources const &sources, Registry *registry, Property *property) {
  std::string &path = property->text;
  property->fallback = {SearchPathElement::ORIGIN_ENVIRONMENT, sources.variable};
  if (read_environment(sources.variable, &path) && !path.empty()) {
    return;
  }
  property->fallback = {SearchPathElement::ORIGIN_REGISTRY, sources.value};
  if (!registry->read(sources.value, &path)) {
    category().warn("Could not read registry value for %s\\%s", REGISTRY_KEY, sources.value);
  }
  if (path.empty()) {
    property->fallback = {};
    append_default(sources, registry, property);
  }
}

Property read_property(Platform::SystemProperty number, Registry *registry) {
  PropertySources const &sources = SOURCES[number];
  Property property;
  switch (number) {
  case Platform::INSTALL_PATH:
    if (registry->read(sources.value, &property.text)) {
      property.fallback = {SearchPathElement::ORIGIN_REGISTRY, sources.value};
    } else {
      property.text = sources.build_time;
    }
    break;
  case Platform::SLAM_LANDMARK_PATH:
    single_directory(sources, registry, &property);
    break;
  default:
    search_path(sources, /*empty_counts=*/number != Platform::MODELSETS_PATH, registry, &property);
  }
  return property;
}

bool is_property(Platform::SystemProperty number) {
  return number >= Platform::INSTALL_PATH && number <= Platform::SLAM_LANDMARK_PATH;
}

} // namespace

unsigned long Platform::get_system_property(SystemProperty property, std::string *out) try {
  if (out == nullptr || !is_property(property)) {
    return RESULT_INVALID_ARGUMENT;
  }
  Registry registry;
  *out = read_property(property, &registry).text;
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::get_search_path_elements(SystemProperty property,
                                                 std::vector<SearchPathElement> *out) try {
  if (out == nullptr || !is_property(property)) {
    return RESULT_INVALID_ARGUMENT;
  }
  Registry registry;
  Property const read = read_property(property, &registry);
  // A landmark directory and an installation are one place, whatever characters they have.
  bool const is_search_path = property != INSTALL_PATH && property != SLAM_LANDMARK_PATH;
  char const delimiter = *get_search_path_delimiter();
  std::vector<SearchPathElement> elements;
  for (std::size_t start = 0; start <= read.text.size();) {
    std::size_t const found = is_search_path ? read.text.find(delimiter, start) : read.text.npos;
    std::size_t const end = std::min(found, read.text.size());
    Origin const &origin = start < read.default_start ? read.user : read.fallback;
    elements.push_back({read.text.substr(start, end - start), origin.kind, origin.name});
    start = end + 1;
  }
  *out = std::move(elements);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long read_system_property(Platform::SystemProperty property, std::string *out) try {
  Registry registry;
  std::string path = read_property(property, &registry).text;
  if (registry.had_temporary_error()) {
    return RESULT_SYSTEM_ERROR;
  }
  *out = std::move(path);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
