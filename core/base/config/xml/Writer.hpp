// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/XmlDocument.hpp"

#include <string>

namespace Ostrel {

/// Sets two defaults of the XML library for the calling thread: output is indented, and blanks are
/// dropped. Internal to the library.
void set_xml_layout() noexcept;

/// Writes a document to a file, indented and in the document's encoding, or in UTF-8 if that lacks
/// a character. Checks first that the text can be loaded. After a success the keys have the lines
/// of the new file. Throws std::bad_alloc without memory, with nothing written. Internal to the
/// library.
///
/// @param fault  receives the reason if the text cannot be loaded; otherwise untouched.
/// @return false if it is not written; the file is as `Platform::replace_file` leaves it.
bool write_xml_file(XmlDocument const &document, char const *path, std::string *fault);

/// Copies a document, as a save and a load would. Throws std::bad_alloc without memory. Internal to
/// the library.
///
/// @param fault  as above; then the result is empty.
XmlDocument copy_xml_document(XmlDocument const &document, std::string *fault);

} // namespace Ostrel
