// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Values.hpp"

#include <algorithm>
#include <unordered_map>

namespace Ostrel::Tool {

namespace {

struct Place {
  Element const *element;
  std::string path;
};
using Places = std::unordered_map<_xmlNode const *, Place>;

void add_places(Element const &element, std::string const &path, Places *places) {
  places->insert({element.node, {&element, path}});
  for (Element const &child : element.elements) {
    add_places(child, path + "/" + child.name, places);
  }
}

std::string parent_of(std::string const &path) {
  return path.substr(0, path.rfind('/'));
}

// The attribute of which the parser has refused the text; null if it is the text of the element.
Attribute const *find_refused(Element const &element, DeclaredElement const &declared,
                              std::string const &text) {
  for (Attribute const &attribute : element.attributes) {
    if (trimmed(attribute.text) == trimmed(text) &&
        declared.find_setting(attribute.name) != nullptr) {
      return &attribute;
    }
  }
  return nullptr;
}

} // namespace

void Checks::check_against_schema() {
  // For each fault, the parser walks through all elements in front of it.
  constexpr std::size_t MANY = 1000;
  if (schema_ == nullptr || !file_.root.space.empty() || findings_->size() > MANY) {
    return;
  }
  std::vector<SchemaFault> const faults = validate(file_, *schema_);
  Places places;
  if (!faults.empty()) {
    add_places(file_.root, file_.root.name, &places);
  }
  for (SchemaFault const &fault : faults) {
    auto const place = places.find(fault.element);
    if (place != places.end()) {
      check_fault(fault, *place->second.element, place->second.path);
    }
  }
}

// Adds a fault, unless another check has found it in better words. The parser also looks at
// elements that the schema declares for another place only; and a schema need not declare Aliases.
void Checks::check_fault(SchemaFault const &fault, Element const &element,
                         std::string const &path) {
  std::string const list = file_.root.name + "/Aliases";
  bool const is_alias = path == list || parent_of(path) == list;
  DeclaredElement const *const declared = find_declared(path);
  bool const is_part = declared != nullptr || find_declared(parent_of(path)) != nullptr;
  if (fault.kind == SchemaFault::CONTENT && is_part && path != list && !is_reported(element)) {
    add(element, ITSELF, fault.message, "follow it, or change " + schema_->path);
  }
  if (declared == nullptr || (is_alias && is_reported(element))) {
    return;
  }
  bool const is_attribute =
      fault.kind == SchemaFault::MISSING || fault.kind == SchemaFault::UNKNOWN;
  std::string const part = is_attribute ? fault.subject : TEXT;
  switch (fault.kind) {
  case SchemaFault::VALUE:
    check_value_fault(fault, element, *declared);
    break;
  case SchemaFault::MISSING:
    add_new(element, part, "'" + element.name + "' has no '" + part + "'",
            "write " + part + "=\"...\"");
    break;
  case SchemaFault::UNKNOWN:
    add_new(element, part, "'" + element.name + "' has no setting '" + part + "'",
            "remove it, or declare it in " + schema_->path);
    break;
  case SchemaFault::TEXT:
    if (element.text.empty() && !element.elements.empty()) {
      Element const &child = element.elements.front();
      add_new(child, ITSELF, "'" + element.name + "' has no element '" + child.name + "'",
              "remove it, or declare it in " + schema_->path);
      break;
    }
    add_new(element, part,
            "the text '" + element.text + "' in '" + element.name + "' is no setting",
            "remove it, or write it as an attribute");
    break;
  case SchemaFault::CONTENT:
    break;
  case SchemaFault::OTHER:
    add(element, ITSELF, fault.message, "see what " + schema_->path + " declares");
    break;
  }
}

void Checks::check_value_fault(SchemaFault const &fault, Element const &element,
                               DeclaredElement const &declared) {
  Attribute const *const attribute = find_refused(element, declared, fault.subject);
  DeclaredSetting const *const setting =
      attribute == nullptr ? nullptr : declared.find_setting(attribute->name);
  std::string const part = attribute == nullptr ? TEXT : attribute->name;
  ValueRule const *const rule = setting != nullptr   ? &setting->rule
                                : declared.text_rule ? &*declared.text_rule
                                                     : nullptr;
  // The library reads more truth values than a schema has, and numbers in elements with blanks.
  bool const is_judged =
      rule != nullptr &&
      (rule->form == ValueRule::TRUTH || (attribute == nullptr && rule->form != ValueRule::TEXT));
  if (is_reported(element, part) || is_judged) {
    return;
  }
  std::string const name = attribute == nullptr ? element.name : part;
  bool const has_form = rule != nullptr && !rule->form_purpose.empty();
  ValueFault const other = {"'" + fault.subject + "' is not of the right form",
                            has_form ? "write " + rule->form_purpose
                                     : "see what " + schema_->path + " declares"};
  ValueFault const judged = judge_characters(fault.subject).value_or(other);
  add(element, part, name + ": " + judged.what, judged.instead);
}

} // namespace Ostrel::Tool
