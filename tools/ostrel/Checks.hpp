// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Findings.hpp"
#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/SettingsFile.hpp"

#include <string>
#include <vector>

namespace Ostrel::Tool {

/// What `config check` looks for, one subject each. A schema of null means that there is none.
class Checks {
public:
  Checks(SettingsFile const &file, Schema const *schema, std::vector<Finding> *findings)
      : file_(file), schema_(schema), findings_(findings) {}

  /// The top element: one that the library does not know, or that of another file.
  void check_root();

  /// Aliases that are not found, or lead nowhere.
  void check_aliases();

  /// Elements: misspelt, misplaced, twice, and texts between them, which no key reads.
  void check_keys();

  /// The texts of attributes, and their names.
  void check_values();

  /// All that the parser's validation finds beyond that.
  void check_against_schema();

private:
  void add(long line, std::string what, std::string instead);
  bool has_finding(long line) const;

  void check_alias(Element const &alias);
  void check_alias_name(Element const &alias, std::string const &name);
  void check_alias_key(Element const &alias, std::string const &key);
  void check_same_aliases(Element const &aliases);
  void check_entries(Element const &aliases);
  void check_alias_outside(Element const &element);

  void check_top();
  std::string find_owner(std::string const &setting) const;
  void check_keys_below(Element const &parent, std::string const &path);
  void check_place(Element const &parent, Element const &child, std::string const &path);
  void check_twice(Element const &parent, std::string const &path);
  void check_values_below(Element const &element, std::string const &path);
  void check_order(Element const &element, Attribute const &minimum);
  void check_fault(SchemaFault const &fault);
  void check_value(Element const &element, Attribute const &attribute,
                   DeclaredElement const *declared);

  DeclaredElement const *find_declared(std::string const &path) const;

  SettingsFile const &file_;
  Schema const *schema_;
  std::vector<Finding> *findings_;
};

} // namespace Ostrel::Tool
