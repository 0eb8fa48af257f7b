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

/// How the bytes of a file stand for the characters of a text.
enum class XmlEncoding {
  UTF_8, ///< as they are
  OTHER  ///< those above 127 as character references, in the worst case
};

/// Tells whether a text can be the text value of a key.
XmlFault find_text_fault(std::string_view text);

/// Tells whether a text can be a named value in a file of that encoding.
XmlFault find_attribute_fault(std::string_view text, XmlEncoding encoding);

} // namespace Ostrel
