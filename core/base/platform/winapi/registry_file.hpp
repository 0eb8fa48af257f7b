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

/// The form in which names of keys and values are compared.
std::string registry_name(std::string_view name);

/// Reads the values of one key from the text of a registry file (REGEDIT4): strings, `dword:`,
/// `hex:` and `hex(type):`, deletions, in the order of the file. A line that is none of these, or
/// is damaged, counts for nothing. Takes any bytes; throws `std::bad_alloc` alone.
///
/// @param key  the full name, from the root on.
/// @return false when the file has no such key and none below it.
bool parse_registry_file(std::string_view text, std::string_view key, RegistryValues *values);

} // namespace Ostrel
