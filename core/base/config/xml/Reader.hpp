// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/ContentDigest.hpp"
#include "core/base/config/xml/XmlDocument.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/File.hpp"

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
  ContentDigest digest;
  FileIdentity identity;
};

/// Reads a file. Throws std::bad_alloc without memory. Internal to the library.
XmlReading read_xml_file(char const *path);

/// Computes the digest of a file. Internal to the library.
/// @return `RESULT_SUCCESS`; `RESULT_NOT_FOUND` if the file does not exist;
///         `RESULT_UNSUPPORTED_FORMAT` for a pipe or a device, which a look would change;
///         `RESULT_OUT_OF_MEMORY`; else `RESULT_SYSTEM_ERROR`, with the system's last error.
unsigned long read_digest(char const *path, ContentDigest *digest) noexcept;

/// Reads a text. Throws std::bad_alloc without memory. Internal to the library.
XmlReading read_xml_text(std::string_view text);

} // namespace Ostrel
