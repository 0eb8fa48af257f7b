// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace Ostrel {

/// Why an XML file cannot hold a name or a text; null for no fault. Internal to the library.
using XmlFault = char const *;

/// Checks the name of a key or of a named value. Internal to the library.
XmlFault find_name_fault(std::string_view name);

/// Checks the text of a value. Internal to the library.
XmlFault find_text_fault(std::string_view text);

} // namespace Ostrel
