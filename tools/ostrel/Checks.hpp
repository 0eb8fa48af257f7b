// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Findings.hpp"
#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/SettingsFile.hpp"

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Ostrel::Tool {

/// What `config check` looks for, one subject each. A schema of null means that there is none.
class Checks {
public:
  Checks(SettingsFile const &file, Schema const *schema, std::vector<Finding> *findings);

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
  // What a finding is about: an attribute by its name, the element itself, or its text.
  static constexpr char const *ITSELF = "", *TEXT = "#text";

  void add(Element const &element, std::string const &part, std::string what, std::string instead);
  void add_new(Element const &element, std::string const &part, std::string what,
               std::string instead); // unless the part has a finding
  bool is_reported(Element const &element) const;
  bool is_reported(Element const &element, std::string const &part) const;
  DeclaredElement const *find_declared(std::string const &path) const;

  void check_alias(Element const &alias);
  void check_alias_name(Element const &alias, std::string const &name);
  void check_alias_key(Element const &alias, std::string const &key);
  void check_same_aliases(Element const &aliases);
  void check_entries(Element const &aliases);
  void check_alias_outside(Element const &element);
  bool exists(std::string const &key) const;
  std::vector<std::string> const &known_keys();

  void check_top();
  std::string find_owner(std::string const &setting) const;
  void check_keys_below(Element const &parent, std::string const &path);
  void check_place(Element const &parent, Element const &child, std::string const &path);
  bool check_setting_as_element(Element const &parent, Element const &child,
                                std::string const &path);
  void check_twice(Element const &parent, std::string const &path);
  bool is_indexed_by_alias(std::string const &path) const;

  void check_values_below(Element const &element, std::string const &path);
  void check_value(Element const &element, Attribute const &attribute,
                   DeclaredElement const *declared);
  bool check_name(Element const &element, Attribute const &attribute,
                  DeclaredElement const &declared);
  void check_order(Element const &element, Attribute const &minimum,
                   DeclaredElement const *declared);
  bool names_number(std::string const &setting) const;

  void check_fault(SchemaFault const &fault, Element const &element, std::string const &path);
  void check_value_fault(SchemaFault const &fault, Element const &element,
                         DeclaredElement const &declared);

  SettingsFile const &file_;
  Schema const *schema_;
  std::vector<Finding> *findings_;
  std::set<std::string> number_words_;                         // the last words of declared numbers
  std::set<std::pair<Element const *, std::string>> reported_; // parts with a finding
  std::optional<std::vector<std::string>> keys_;               // filled when it is first used
};

} // namespace Ostrel::Tool
