// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/winapi/winapi.hpp"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel {

struct RegistryValue {
  DWORD type = 0;
  std::vector<BYTE> data;
};

/// The values of one key by name, in lower case; the default value's name is empty.
using RegistryValues = std::map<std::string, RegistryValue>;

/// Converts a name of a key or a value to the form in which names are compared.
std::string registry_name(std::string_view name);

/// Reads the values of one key from the text of a registry file (REGEDIT4): strings, `dword:`,
/// `hex:` and `hex(type):`. Of several values of one name the last counts. Any other or damaged
/// line is ignored, also a deletion, which no export contains. Accepts any bytes; throws only
/// `std::bad_alloc`.
///
/// @param key  the full name, from the root on.
RegistryValues parse_registry_file(std::string_view text, std::string_view key);

} // namespace Ostrel
