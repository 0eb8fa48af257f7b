// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/units/Units.hpp"
#include "tools/ostrel/Findings.hpp"
#include "tools/ostrel/SettingsFile.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct _xmlSchema;

namespace Ostrel::Tool {

/// What a schema says of the values of a setting.
struct ValueRule {
  enum Form { TEXT, NUMBER, WHOLE_NUMBER, TRUTH };
  Form form = TEXT;
  bool allows_text = false; ///< Also other texts, beside the number or the choices.
  bool has_kind = false;    ///< The number has a unit.
  UnitType kind = UNIT_TYPE_DISTANCE;
  std::string unit;             ///< Of a number alone.
  std::string minimum, maximum; ///< Empty for none.
  bool excludes_minimum = false, excludes_maximum = false;
  std::vector<std::string> choices;
  std::string form_purpose; ///< What the type is, in the words of the schema; may be empty.
};

/// A setting that a schema declares.
struct DeclaredSetting {
  std::string name, purpose;
  ValueRule rule;
  std::optional<std::string> default_text;
};

/// An element that a schema declares, under its path: "UserConfig/Sonar".
struct DeclaredElement {
  std::string purpose;
  bool is_list = false;    ///< May occur more than once.
  bool may_repeat = false; ///< Part of a choice or sequence that may occur more than once.
  std::vector<std::string> elements;
  std::vector<DeclaredSetting> settings;
  std::optional<ValueRule> text_rule; ///< Of an element that holds a text alone.

  DeclaredSetting const *find_setting(std::string const &name) const;
  std::vector<std::string> setting_names() const;
};

/// A schema for settings.
struct Schema {
  std::string path;
  std::shared_ptr<_xmlSchema> parsed;
  std::map<std::string, DeclaredElement> elements;

  DeclaredElement const *find_element(std::string const &element_path) const;
  /// The setting of a full key; null if there is none.
  DeclaredSetting const *find_setting(std::string const &key) const;
  /// All full keys.
  std::vector<std::string> keys() const;
};

/// Finds the schema of a file: beside it, or else along the search path of configuration files.
/// @return the path; empty if there is none.
std::string find_schema(std::string const &settings_file, std::string const &root_name);

/// Reads a schema, with those that it includes from other files; `xs:import` and `xs:redefine` only
/// count for validation.
/// @return nothing if it cannot be used, with findings.
std::optional<Schema> read_schema(std::string const &path, std::vector<Finding> *findings);

/// A place at which a file does not follow its schema.
struct SchemaFault {
  enum Kind {
    VALUE,   ///< The text of an attribute, or else of the element.
    MISSING, ///< An attribute that is required.
    UNKNOWN, ///< An attribute that is not declared.
    CONTENT, ///< The element is not expected there, or one is missing in it.
    TEXT,    ///< The text of an element that has none.
    OTHER
  };
  Kind kind;
  _xmlNode const *element;
  std::string subject; ///< The text, or the name of the attribute.
  std::string message; ///< Of the parser.
};

/// Validates a file with the parser's own validation.
std::vector<SchemaFault> validate(SettingsFile const &file, Schema const &schema);

} // namespace Ostrel::Tool
