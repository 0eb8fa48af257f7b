// SPDX-License-Identifier: Apache-2.0
// The registry, as a text file of the installation. A key is read when it is opened: if the file is
// replaced by a rename, a reader sees the old values or the new ones. During a write in place it
// may see a part of them, or nothing.
#include "core/base/platform/posix/descriptor.hpp"
#include "core/base/platform/winapi/error.hpp"
#include "core/base/platform/winapi/path.hpp"
#include "core/base/platform/winapi/registry_file.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Ostrel::Descriptor;
using Ostrel::error_from_errno;
using Ostrel::error_of_open;
using Ostrel::NativePath;
using Ostrel::parse_registry_file;
using Ostrel::registry_name;
using Ostrel::RegistryValue;
using Ostrel::RegistryValues;
using Ostrel::retry;

constexpr char const *DEFAULT_FILE = OSTBASE_SYSCONF_DIR "/ostrel/registry.reg";
constexpr char const *LOCAL_MACHINE = "HKEY_LOCAL_MACHINE\\";
constexpr std::int64_t LARGEST_FILE = std::int64_t{16} << 20; // bytes; a larger file is no registry

// Not valid if the variable's text is longer than any path of the system.
NativePath registry_path() {
  char chosen[PATH_MAX] = "";
  bool const fits = GetEnvironmentVariableA("OSTREL_REGISTRY_FILE", chosen, PATH_MAX) < PATH_MAX;
  char const *const path = chosen[0] == '\0' ? DEFAULT_FILE : chosen;
  return NativePath(fits ? path : nullptr);
}

// Reads the whole of a regular file; ERROR_FILE_NOT_FOUND for anything else.
LONG read_registry(std::string *text) {
  NativePath const path = registry_path();
  if (!path.is_valid()) {
    return ERROR_FILE_NOT_FOUND;
  }
  Descriptor const file = Descriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.is_open()) {
    return static_cast<LONG>(error_of_open(errno));
  }
  struct stat status = {};
  if (fstat(file.get(), &status) != 0) {
    return static_cast<LONG>(error_from_errno(errno));
  }
  if (!S_ISREG(status.st_mode) || status.st_size > LARGEST_FILE) {
    return ERROR_FILE_NOT_FOUND;
  }
  text->resize(static_cast<std::size_t>(status.st_size));
  std::size_t length = 0;
  ssize_t count = 1;
  while (length < text->size() && count > 0) {
    count = retry([&] { return read(file.get(), text->data() + length, text->size() - length); });
    length += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  if (count < 0) {
    return static_cast<LONG>(error_from_errno(errno));
  }
  text->resize(length);
  return ERROR_SUCCESS;
}

} // namespace

LONG RegOpenKeyExA(HKEY root, char const *sub_key, DWORD options, REGSAM access, HKEY *key) try {
  if (options != 0 || access != KEY_READ) {
    return ERROR_NOT_SUPPORTED;
  }
  std::string text;
  if (root != HKEY_LOCAL_MACHINE || sub_key == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (LONG const result = read_registry(&text); result != ERROR_SUCCESS) {
    return result;
  }
  auto values = std::make_unique<RegistryValues>();
  if (!parse_registry_file(text, std::string(LOCAL_MACHINE) + sub_key, values.get())) {
    return ERROR_FILE_NOT_FOUND;
  }
  *key = values.release();
  return ERROR_SUCCESS;
} catch (std::bad_alloc const &) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

LONG RegQueryValueExA(HKEY key, char const *name, DWORD *reserved, DWORD *type, BYTE *data,
                      DWORD *size) try {
  if (reserved != nullptr || (data != nullptr && size == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  auto const &values = *static_cast<RegistryValues const *>(key);
  auto const found = values.find(registry_name(name == nullptr ? "" : name));
  if (found == values.end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  RegistryValue const &value = found->second;
  DWORD const room = data == nullptr ? 0 : *size;
  if (type != nullptr) {
    *type = value.type;
  }
  if (size != nullptr) {
    *size = static_cast<DWORD>(value.data.size());
  }
  if (data == nullptr) {
    return ERROR_SUCCESS;
  }
  if (value.data.size() > room) {
    return ERROR_MORE_DATA;
  }
  std::copy(value.data.begin(), value.data.end(), data);
  return ERROR_SUCCESS;
} catch (std::bad_alloc const &) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

LONG RegCloseKey(HKEY key) {
  delete static_cast<RegistryValues *>(key);
  return ERROR_SUCCESS;
}
