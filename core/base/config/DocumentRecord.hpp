// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/config/xml/Reader.hpp"

#include <optional>
#include <string>
#include <utility>

namespace Ostrel {

/// One document of a source, and what its file held at the last load or save. Internal to the
/// library.
struct XmlConfigSource::DocumentRecord {
  void adopt(XmlReading reading) noexcept {
    document = std::move(reading.document);
    digest = reading.digest;
    identity = reading.identity;
  }

  XmlDocument document;
  std::string file_name;                // for loads and saves
  std::optional<ContentDigest> digest;  // none if the document is not that of the file
  std::optional<FileIdentity> identity; // none after a save
};

} // namespace Ostrel
