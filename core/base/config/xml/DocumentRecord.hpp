// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/XmlDocument.hpp"
#include "core/base/foundation/FileIdentity.hpp"

#include <optional>
#include <string>

namespace Ostrel {

/// One document of a source. Internal to the library.
struct DocumentRecord {
  XmlDocument document;
  std::string file_name;                // for loads and saves
  std::optional<FileIdentity> identity; // of the file that was loaded; none after a save
};

} // namespace Ostrel
