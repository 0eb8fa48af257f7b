// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Findings.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct _xmlDoc;
struct _xmlNode;

namespace Ostrel {
class XmlConfigSource;
}

namespace Ostrel::Tool {

/// An attribute of an element: a setting.
struct Attribute {
  std::string name;
  std::string text;
  long line = 0; ///< Of the attribute itself, which may be below that of its element.
};

/// An element: a key.
struct Element {
  std::string name;
  long line = 0; ///< From 1; 0 if it is unknown.
  std::vector<Attribute> attributes;
  std::vector<Element> elements;
  std::string text;               ///< Its own, without that of its elements and blanks around it.
  long text_line = 0;             ///< Of the first character of this text.
  std::string space;              ///< The URI of its namespace; empty for none.
  _xmlNode const *node = nullptr; ///< In the document of the file.

  Attribute const *find_attribute(std::string const &attribute) const;
  Element const *find_element(std::string const &element, long index = 0) const;
};

/// A configuration file, or a schema, as it was read.
struct SettingsFile {
  std::string path;
  std::shared_ptr<XmlConfigSource> source; ///< The library's reading; null for a schema.
  std::shared_ptr<_xmlDoc> document;
  Element root;
};

/// Reads a configuration file.
///
/// @param findings  receives what is wrong with the text of the file as such: that it is not well
///                  formed, its encoding, or that the library refuses it.
/// @return nothing if the library does not load it.
std::optional<SettingsFile> read_settings_file(std::string const &path,
                                               std::vector<Finding> *findings);

/// Reads a schema, which the library does not load.
std::optional<SettingsFile> read_schema_file(std::string const &path,
                                             std::vector<Finding> *findings);

} // namespace Ostrel::Tool
