// SPDX-License-Identifier: Apache-2.0
// The registry, as a text file of the installation. A key is read when it is opened: if the file is
// replaced by a rename, a reader sees the old values or the new ones. During a write in place it
// may see a part of them, or nothing.
#include "core/base/platform/winapi/registry_file.hpp"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <utility>

namespace {

using Ostrel::parse_registry_file;
using Ostrel::registry_name;
using Ostrel::RegistryValue;
using Ostrel::RegistryValues;

constexpr char const *DEFAULT_FILE = OSTBASE_SYSCONF_DIR "/ostrel/registry.reg";
constexpr char const *LOCAL_MACHINE = "HKEY_LOCAL_MACHINE\\";
constexpr std::int64_t LARGEST_FILE = std::int64_t{16} << 20; // bytes; a larger file is no registry

struct Close {
  void operator()(void *file) const noexcept { CloseHandle(file); }
};

// Reads the whole of a regular file. Returns the error.
DWORD read_registry(std::string *text) {
  char chosen[PATH_MAX];
  DWORD const length = GetEnvironmentVariableA("OSTREL_REGISTRY_FILE", chosen, sizeof chosen);
  if (length >= sizeof chosen) {
    return ERROR_FILENAME_EXCED_RANGE;
  }
  void *const opened = CreateFileA(length > 0 ? chosen : DEFAULT_FILE, GENERIC_READ,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) {
    return GetLastError();
  }
  std::unique_ptr<void, Close> const file(opened);
  LARGE_INTEGER size = {};
  if (GetFileSizeEx(opened, &size) == FALSE) {
    return GetLastError();
  }
  if (size.QuadPart > LARGEST_FILE) {
    return ERROR_FILE_NOT_FOUND;
  }
  text->resize(static_cast<std::size_t>(size.QuadPart));
  std::size_t end = 0;
  DWORD count = 1;
  while (end < text->size() && count > 0) {
    auto const room = static_cast<DWORD>(text->size() - end);
    if (ReadFile(opened, text->data() + end, room, &count, nullptr) == FALSE) {
      return GetLastError();
    }
    end += count;
  }
  text->resize(end);
  return ERROR_SUCCESS;
}

} // namespace

LONG RegOpenKeyExA(HKEY root, char const *sub_key, DWORD options, REGSAM access, HKEY *key) try {
  if (options != 0 || access != KEY_READ) {
    return ERROR_NOT_SUPPORTED;
  }
  if (root != HKEY_LOCAL_MACHINE || sub_key == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  std::string text;
  if (DWORD const error = read_registry(&text); error != ERROR_SUCCESS) {
    return static_cast<LONG>(error);
  }
  auto values = std::make_unique<RegistryValues>(
      parse_registry_file(text, std::string(LOCAL_MACHINE) + sub_key));
  if (values->empty()) {
    return ERROR_FILE_NOT_FOUND;
  }
  *key = values.release();
  return ERROR_SUCCESS;
} catch (std::bad_alloc const &) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

LONG RegQueryValueExA(HKEY key, char const *name, DWORD *reserved, DWORD *type, BYTE *data,
                      DWORD *size) try {
  if (name == nullptr || reserved != nullptr || size == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  auto const &values = *static_cast<RegistryValues const *>(key);
  auto const found = values.find(registry_name(name));
  if (found == values.end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  RegistryValue const &value = found->second;
  if (type != nullptr) {
    *type = value.type;
  }
  DWORD const room = std::exchange(*size, static_cast<DWORD>(value.data.size()));
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
