// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/Numbers.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Values.hpp"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Ostrel::Tool {

namespace {

struct KnownFile {
  char const *name, *root;
};

constexpr KnownFile KNOWN_FILES[] = {
    {"application-config.xml", "Applications"},  {"behavior-config.xml", "Behaviors"},
    {"personality-config.xml", "Personalities"}, {"resource-config.xml", "Resources"},
    {"semantic-config.xml", "Semantics"},        {"user-config.xml", "UserConfig"}};

std::string base_name(std::string const &path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

// The places of the elements of each name.
std::map<std::string, std::vector<std::size_t>> places_by_name(Element const &parent) {
  std::map<std::string, std::vector<std::size_t>> places;
  for (std::size_t i = 0; i < parent.elements.size(); ++i) {
    places[parent.elements[i].name].push_back(i);
  }
  return places;
}

bool is_identifying(std::string const &attribute) {
  std::string const name = lower(attribute);
  return name == "key" || name == "index" || name == "number" || name == "address" ||
         ends_with(name, "name") || ends_with(name, "id");
}

// Whether each of the elements has the same identifying attribute, with another value.
bool are_told_apart(Element const &parent, std::vector<std::size_t> const &places) {
  for (Attribute const &first : parent.elements[places.front()].attributes) {
    std::set<std::string> values;
    for (std::size_t const place : places) {
      Attribute const *const found = parent.elements[place].find_attribute(first.name);
      values.insert(found == nullptr ? first.text : found->text);
    }
    if (is_identifying(first.name) && values.size() == places.size()) {
      return true;
    }
  }
  return false;
}

// Whether an element may be a misspelt one: an element with none of its settings is another one.
bool has_setting_of(Element const &element, DeclaredElement const *declared) {
  if (declared == nullptr || element.attributes.empty()) {
    return declared != nullptr;
  }
  std::vector<std::string> const names = declared->setting_names();
  return std::any_of(element.attributes.begin(), element.attributes.end(),
                     [&names](Attribute const &attribute) {
                       return find_misspelt(attribute.name, names) != nullptr ||
                              std::find(names.begin(), names.end(), attribute.name) != names.end();
                     });
}

} // namespace

void Checks::add(long line, std::string what, std::string instead) {
  findings_->push_back({file_.path, line, std::move(what), std::move(instead)});
}

bool Checks::has_finding(long line) const {
  return std::any_of(findings_->begin(), findings_->end(),
                     [line](Finding const &finding) { return finding.line == line; });
}

DeclaredElement const *Checks::find_declared(std::string const &path) const {
  return schema_ == nullptr ? nullptr : schema_->find_element(path);
}

void Checks::check_root() {
  std::string const name = base_name(file_.path), &root = file_.root.name;
  for (KnownFile const &known : KNOWN_FILES) {
    if (name == known.name && root != known.root) {
      auto const *const other =
          std::find_if(std::begin(KNOWN_FILES), std::end(KNOWN_FILES),
                       [&root](KnownFile const &file) { return root == file.root; });
      add(file_.root.line, "the top element is '" + root + "', and no key below it is found",
          std::string("write <") + known.root + ">" +
              (other == std::end(KNOWN_FILES) ? ""
                                              : std::string(", or name the file ") + other->name));
    } else if (name != known.name && is_misspelling(root, known.root)) {
      add(file_.root.line, "the top element is '" + root + "'",
          std::string("write <") + known.root + ">");
    }
  }
}

void Checks::check_keys() {
  if (file_.root.name != "UserConfig") {
    return; // programs walk through other files, and read their lists and texts
  }
  check_top();
  check_keys_below(file_.root, file_.root.name);
}

// Settings that are one level too high, or all of them one too low.
void Checks::check_top() {
  for (Attribute const &attribute : file_.root.attributes) {
    std::string const owner = find_owner(attribute.name);
    if (!owner.empty()) {
      add(attribute.line, "'" + attribute.name + "' is a setting of '" + owner + "'",
          "move it into <" + owner + ">");
    }
  }
  if (Element const *const inner = file_.root.find_element(file_.root.name)) {
    add(inner->line, "a second '" + inner->name + "' inside the first, in which no key is found",
        "remove the inner tags");
  }
}

// The element to which a setting belongs; empty if none or several have one of that name.
std::string Checks::find_owner(std::string const &setting) const {
  std::string owner;
  DeclaredElement const *const top = find_declared(file_.root.name);
  for (std::string const &name : top == nullptr ? std::vector<std::string>() : top->elements) {
    DeclaredElement const *const element = find_declared(file_.root.name + "/" + name);
    if (element != nullptr && element->find_setting(setting) != nullptr) {
      if (!owner.empty()) {
        return "";
      }
      owner = name;
    }
  }
  return top != nullptr && top->find_setting(setting) != nullptr ? "" : owner;
}

void Checks::check_keys_below(Element const &parent, std::string const &path) {
  bool const is_root = &parent == &file_.root;
  if (!parent.text.empty() && (is_root || !parent.elements.empty())) {
    add(parent.text_line,
        "the text '" + parent.text + "' between the elements of '" + parent.name +
            "' is no setting",
        "remove it, or write it as an attribute");
  }
  check_twice(parent, path);
  for (Element const &child : parent.elements) {
    check_place(parent, child, path);
    check_keys_below(child, path + "/" + child.name);
  }
}

// An element that is not declared here, but under a similar name or in another element.
void Checks::check_place(Element const &parent, Element const &child, std::string const &path) {
  DeclaredElement const *const declared = find_declared(path);
  if (declared == nullptr || find_declared(path + "/" + child.name) != nullptr ||
      has_finding(child.line)) {
    return;
  }
  std::string const *const meant = find_misspelt(child.name, declared->elements);
  if (meant != nullptr && parent.find_element(*meant) == nullptr &&
      has_setting_of(child, find_declared(path + "/" + *meant))) {
    add(child.line, "unknown element '" + child.name + "'", "write <" + *meant + ">");
    return;
  }
  std::vector<std::string> names = declared->setting_names();
  auto const setting = std::find_if(names.begin(), names.end(), [&child](std::string const &name) {
    return lower(name) == lower(child.name);
  });
  if (setting != names.end()) {
    add(child.line, "'" + child.name + "' is an element, but a setting is an attribute",
        "write " + *setting + "=\"" + child.text + "\" in <" + parent.name + ">");
    return;
  }
  std::string const top_path = file_.root.name + "/" + child.name;
  if (path != file_.root.name && find_declared(top_path) != nullptr &&
      file_.root.find_element(child.name) == nullptr) {
    add(child.line, "'" + child.name + "' stands inside '" + parent.name + "'",
        "move it directly into <" + file_.root.name + ">");
  }
}

// Elements of one name of which only the first is found by its key. They are sound as a list: if
// the schema says so, if a name or number tells them apart, or if they stand in a row, of at least
// three directly below the top key.
void Checks::check_twice(Element const &parent, std::string const &path) {
  constexpr std::size_t SHORTEST_LIST = 3;
  for (auto const &[name, places] : places_by_name(parent)) {
    if (places.size() == 1 || name == "Alias") {
      continue;
    }
    DeclaredElement const *const declared = find_declared(path + "/" + name);
    long const first_line = parent.elements[places.front()].line;
    bool const is_row = places.back() - places.front() + 1 == places.size();
    bool const is_nested = &parent != &file_.root;
    bool const is_single = declared != nullptr && !declared->is_list && !declared->may_repeat;
    bool const is_list = (declared != nullptr && declared->is_list) ||
                         are_told_apart(parent, places) ||
                         (is_row && (is_nested || places.size() >= SHORTEST_LIST));
    for (std::size_t i = 1; i < places.size() && (is_single || !is_list); ++i) {
      add(parent.elements[places[i]].line,
          "a second '" + name + "', which no key without an index reads (the first is in line " +
              std::to_string(first_line) + ")",
          "move what it holds to line " + std::to_string(first_line));
    }
  }
}

void Checks::check_values() {
  check_values_below(file_.root, file_.root.name);
}

void Checks::check_values_below(Element const &element, std::string const &path) {
  if (element.name == "Aliases") {
    return;
  }
  for (Attribute const &attribute : element.attributes) {
    check_value(element, attribute, find_declared(path));
    check_order(element, attribute);
  }
  for (Element const &child : element.elements) {
    check_values_below(child, path + "/" + child.name);
  }
}

void Checks::check_value(Element const &element, Attribute const &attribute,
                         DeclaredElement const *declared) {
  DeclaredSetting const *const setting =
      declared == nullptr ? nullptr : declared->find_setting(attribute.name);
  std::vector<std::string> const names =
      declared == nullptr ? std::vector<std::string>() : declared->setting_names();
  std::string const *const meant =
      setting != nullptr ? nullptr : find_misspelt(attribute.name, names);
  if (meant != nullptr && element.find_attribute(*meant) == nullptr) {
    add(attribute.line, "unknown attribute '" + attribute.name + "' of '" + element.name + "'",
        "write " + *meant);
    return;
  }
  std::optional<ValueFault> const fault = setting != nullptr
                                              ? judge_value(attribute.text, setting->rule)
                                              : judge_unknown_value(attribute.name, attribute.text);
  if (fault) {
    add(attribute.line, attribute.name + ": " + fault->what, fault->instead);
  }
}

// A minimum above the maximum of the same name.
void Checks::check_order(Element const &element, Attribute const &minimum) {
  for (auto const &[low, high] : {std::pair("Minimum", "Maximum"), std::pair("Min", "Max"),
                                  std::pair("minimum", "maximum"), std::pair("min", "max")}) {
    std::size_t const at = minimum.name.find(low);
    std::string const rest =
        at == std::string::npos ? "" : minimum.name.substr(at + std::strlen(low));
    Attribute const *const maximum =
        at == std::string::npos ? nullptr
                                : element.find_attribute(minimum.name.substr(0, at) + high + rest);
    double least = 0, most = 0;
    if (maximum != nullptr && parse_number(minimum.text, &least) &&
        parse_number(maximum->text, &most) && least > most) {
      add(minimum.line,
          minimum.name + ": " + minimum.text + " is above " + maximum->name + ", " + maximum->text,
          "write at most " + maximum->text);
      return;
    }
  }
}

} // namespace Ostrel::Tool
