// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace Ostrel {

/// Why an XML file could not hold a name or a text; null when it can hold it. Internal to the
/// library.
using XmlFault = char const *;

/// Tells whether a name can be the name of a key or of a named value.
XmlFault find_name_fault(std::string_view name);

/// Tells whether a text can be a value.
XmlFault find_text_fault(std::string_view text);

/// How the characters of a text stand in a file.
enum class XmlEncoding {
  UTF_8, ///< as they are
  OTHER  ///< those above 127 as character references, in the worst case
};

/// The bytes that a named value takes in a file. The text has no fault.
std::size_t measure_attribute(std::string_view text, XmlEncoding encoding);

} // namespace Ostrel
