// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/XmlDocument.hpp"

#include <string>

namespace Ostrel {

/// Has the XML library, in the calling thread, indent what it writes and drop blanks by default.
/// The settings last. Internal to the library.
void set_xml_layout() noexcept;

/// Replaces a file by a document, indented and in the document's encoding, or in UTF-8 if that
/// lacks a character. Checks first that the file will load. Throws std::bad_alloc without memory.
/// Internal to the library.
///
/// @param fault  receives why the file would not load; untouched when it would.
/// @return false, with the file as `Platform::replace_file` leaves it, when it is not written.
bool write_xml_file(XmlDocument const &document, char const *path, std::string *fault);

} // namespace Ostrel
