// SPDX-License-Identifier: Apache-2.0
// The text of a registry file: values are found in any case, are the same after a rewrite in the
// plainest form, do not depend on text before their section, and are used by the system properties.
#include "core/base/platform/winapi/registry_file.hpp"
#include "core/base/platform/Platform.hpp"
#include "fuzz/support/Fuzz.hpp"
#include "tests/support/Files.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

using namespace Ostrel;

constexpr char KEY[] = "HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA";
constexpr char OTHER_KEY[] = "hkey_LOCAL_machine\\SOFTWARE\\ostrel labs\\ovra";

RegistryValues read(std::string_view text, char const *key = KEY) {
  ExactCopy copy(text);
  return parse_registry_file({copy.data(), text.size()}, key);
}

bool is_same(RegistryValues const &left, RegistryValues const &right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](auto const &one, auto const &other) {
                      return one.first == other.first && one.second.type == other.second.type &&
                             one.second.data == other.second.data;
                    });
}

std::string quoted(std::string const &text) {
  std::string result = "\"";
  for (char const character : text) {
    result += character == '"' || character == '\\' ? "\\" : "";
    result += character;
  }
  return result + "\"";
}

std::string hexadecimal(RegistryValue const &value) {
  char text[24];
  std::snprintf(text, sizeof text, "hex(%x):", value.type);
  std::string result = text;
  for (BYTE const byte : value.data) {
    std::snprintf(text, sizeof text, "%02X,", byte);
    result += text;
  }
  return result;
}

// Writes a text and a number in their own forms, other types as hex.
std::string written(RegistryValue const &value) {
  std::vector<BYTE> const &data = value.data;
  if (value.type == REG_SZ && !data.empty() && data.back() == 0) {
    return quoted(std::string(data.begin(), data.end() - 1));
  }
  if (value.type == REG_DWORD && data.size() == sizeof(DWORD)) {
    char text[24];
    std::snprintf(text, sizeof text, "dword:%02x%02x%02x%02x", data[3], data[2], data[1], data[0]);
    return text;
  }
  return hexadecimal(value);
}

template <class Write> std::string file_of(RegistryValues const &values, Write write) {
  std::string text = "REGEDIT4\r\n\r\n[" + std::string(KEY) + "]\r\n";
  for (auto const &[name, value] : values) {
    text += (name.empty() ? "@" : quoted(name)) + "=" + write(value) + "\r\n";
  }
  return text;
}

// The text of a property with that value; none if the value is ignored.
std::optional<std::string> text_of(RegistryValues const &values, char const *name) {
  auto const found = values.find(name);
  if (found == values.end()) {
    return {};
  }
  RegistryValue const &value = found->second;
  std::string const bytes(value.data.begin(), value.data.end());
  if (value.type == REG_SZ) {
    return bytes.substr(0, bytes.find('\0'));
  }
  unsigned int number = 0;
  if (value.type != REG_DWORD || bytes.size() != sizeof number) {
    return {};
  }
  std::memcpy(&number, bytes.data(), sizeof number);
  return std::to_string(number);
}

std::string property(Platform::SystemProperty which) {
  std::string text;
  require(Platform::get_system_property(which, &text) == 0, "no property");
  return text;
}

std::string default_part(std::optional<std::string> const &install, std::string path,
                         char const *relative, std::string const &build_time) {
  if (!install.has_value()) {
    return path + build_time;
  }
  path += *install;
  return path + (path.empty() || path.back() == '\\' ? "" : "\\") + relative;
}

void check_properties(std::string_view text, RegistryValues const &values) {
  static TemporaryDirectory const directory;
  static std::string const file = directory.path("registry.reg");
  static std::string const build_time = [] {
    setenv("OSTREL_REGISTRY_FILE", "/dev/null", /*overwrite=*/1);
    return property(Platform::AUDIO_PATH);
  }();
  setenv("OSTREL_REGISTRY_FILE", file.c_str(), /*overwrite=*/1);
  write_file(file, std::string(text));
  std::optional<std::string> const install = text_of(values, "installpath");
  std::optional<std::string> const audio = text_of(values, "audiopath");
  require(property(Platform::INSTALL_PATH) == install.value_or("c:\\OVRA"),
          "another installation path");
  require(property(Platform::AUDIO_PATH) ==
              default_part(install, audio.has_value() ? *audio + ";" : "", "audio", build_time),
          "another audio path");
}

// Text before a section does not affect it.
void check_next_section(std::string_view text) {
  std::string const next = std::string(text) + "\n[" + KEY + "]\n\"next\"=hex:41\n";
  RegistryValues const values = read(next);
  auto const found = values.find("next");
  require(found != values.end() && found->second.type == REG_BINARY &&
              found->second.data == std::vector<BYTE>{'A'},
          "the next section is not read");
}

} // namespace

void fuzz(Input input) {
  silence_logging();
  std::string_view const text = input.take_rest();
  RegistryValues const values = read(text);
  require(is_same(values, read(text, OTHER_KEY)), "the case of the key matters");
  for (auto const &[name, value] : values) {
    require(registry_name(name) == name, "a name that is not found");
  }
  require(is_same(values, read(file_of(values, hexadecimal))), "bytes do not come back");
  require(is_same(values, read(file_of(values, written))), "texts do not come back");
  require(is_same(values, read(std::string(text) + "\n\n[HKEY_USERS]\n")), "another key matters");
  check_next_section(text);
  check_properties(text, values);
}
