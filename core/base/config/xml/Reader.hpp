// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/XmlDocument.hpp"
#include "core/base/foundation/FileIdentity.hpp"
#include "core/base/foundation/ResultCode.hpp"

#include <string>
#include <string_view>

namespace Ostrel {

/// The result of reading a document. Internal to the library.
struct XmlReading {
  /// Without the layout of the file; empty on failure.
  XmlDocument document;
  /// `RESULT_SUCCESS`; `RESULT_FAILURE` if the text does not parse or exceeds `ParserLimits`;
  /// `RESULT_SYSTEM_ERROR` if the file cannot be opened or read.
  unsigned long result = RESULT_SUCCESS;
  /// The reason of a failure.
  std::string fault;
  /// Of the file, after a success.
  FileIdentity identity;
};

/// Reads a file. Throws std::bad_alloc without memory. Internal to the library.
XmlReading read_xml_file(char const *path);

/// Reads a text. Throws std::bad_alloc without memory. Internal to the library.
XmlReading read_xml_text(std::string_view text);

} // namespace Ostrel
