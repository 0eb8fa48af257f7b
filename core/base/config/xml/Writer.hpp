// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/ContentDigest.hpp"
#include "core/base/config/xml/XmlDocument.hpp"

#include <string>

namespace Ostrel {

/// Sets two defaults of the XML library for the calling thread: output is indented, and blanks are
/// dropped. Internal to the library.
void set_xml_layout() noexcept;

/// The result of writing a document. Internal to the library.
struct XmlWriting {
  /// False if the file is as a failed `Platform::replace_file` leaves it.
  bool is_written = false;
  /// Why the text of the document could not be loaded; else empty.
  std::string fault;
  /// Of the file, after a success.
  ContentDigest digest;
};

/// Writes a document to a file, indented and in the document's encoding, or in UTF-8 if that lacks
/// a character. Checks first that the text can be loaded. After a success the keys have the lines
/// of the new file. Throws std::bad_alloc without memory, with nothing written. Internal to the
/// library.
XmlWriting write_xml_file(XmlDocument const &document, char const *path);

} // namespace Ostrel
