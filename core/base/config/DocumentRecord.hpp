// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/config/xml/Reader.hpp"

#include <optional>
#include <string>

namespace Ostrel {

/// One document of a source. Internal to the library.
struct XmlConfigSource::DocumentRecord {
  XmlDocument document;
  std::string file_name;                // for loads and saves
  std::optional<FileIdentity> identity; // of the file that was loaded; none after a save
};

} // namespace Ostrel
