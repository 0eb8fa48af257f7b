// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/KnownFiles.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Values.hpp"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Ostrel::Tool {

namespace {

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

// Whether all that an element has are settings of a declared one, which it may then be, misspelt.
bool has_only_settings_of(Element const &element, DeclaredElement const *declared) {
  std::vector<std::string> const names =
      declared == nullptr ? std::vector<std::string>() : declared->setting_names();
  return !element.attributes.empty() &&
         std::all_of(element.attributes.begin(), element.attributes.end(),
                     [&names](Attribute const &attribute) {
                       return find_meant(attribute.name, names) != nullptr ||
                              std::find(names.begin(), names.end(), attribute.name) != names.end();
                     });
}

// The text of an element that was written for an attribute: <Volume>70</Volume>, or
// <Volume value="70"/>, or with the owner's name for "value". Null if it holds more.
std::string const *text_of_setting(Element const &element, std::string const &owner) {
  bool const is_plain = element.elements.empty();
  if (is_plain && element.attributes.empty() && !element.text.empty()) {
    return &element.text;
  }
  Attribute const *const value = element.find_attribute("value");
  Attribute const *const only = value == nullptr ? element.find_attribute(owner) : value;
  return is_plain && element.attributes.size() == 1 && only != nullptr ? &only->text : nullptr;
}

// What to do with a setting that is at a wrong place, in view of the element to which it belongs.
std::string unless_there(Element const *owner, std::string const &setting, std::string instead) {
  Attribute const *const there = owner == nullptr ? nullptr : owner->find_attribute(setting);
  return there == nullptr
             ? std::move(instead)
             : "keep either this or the '" + setting + "' in line " + std::to_string(there->line);
}

} // namespace

void Checks::add(Element const &element, std::string const &part, std::string what,
                 std::string instead) {
  Attribute const *const attribute = element.find_attribute(part);
  long const line = part == TEXT           ? element.text_line
                    : attribute == nullptr ? element.line
                                           : attribute->line;
  findings_->push_back({file_.path, line, std::move(what), std::move(instead)});
  reported_.emplace(&element, part);
}

void Checks::add_new(Element const &element, std::string const &part, std::string what,
                     std::string instead) {
  if (!is_reported(element, part)) {
    add(element, part, std::move(what), std::move(instead));
  }
}

bool Checks::is_reported(Element const &element) const {
  auto const found = reported_.lower_bound({&element, ITSELF});
  return found != reported_.end() && found->first == &element;
}

bool Checks::is_reported(Element const &element, std::string const &part) const {
  return reported_.count({&element, part}) != 0;
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
      add(file_.root, ITSELF, "the top element is '" + root + "', and no key below it is found",
          std::string("write <") + known.root + ">" +
              (other == std::end(KNOWN_FILES) ? ""
                                              : std::string(", or name the file ") + other->name));
    } else if (name != known.name && is_misspelling(root, known.root)) {
      add(file_.root, ITSELF, "the top element is '" + root + "'",
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
      add(file_.root, attribute.name, "'" + attribute.name + "' is a setting of '" + owner + "'",
          unless_there(file_.root.find_element(owner), attribute.name,
                       "move it into <" + owner + ">"));
    }
  }
  if (Element const *const inner = file_.root.find_element(file_.root.name)) {
    add(*inner, ITSELF, "a second '" + inner->name + "' inside the first, in which no key is found",
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
  bool const has_no_text = &parent == &file_.root || path == file_.root.name + "/Aliases" ||
                           (find_declared(path) != nullptr && !parent.elements.empty());
  if (!parent.text.empty() && has_no_text) {
    add(parent, TEXT,
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
  constexpr std::string_view INCLUSION = "http://www.w3.org/2001/XInclude";
  if (child.space == INCLUSION) {
    add(child, ITSELF, "inclusions of other files are not followed", "write the elements here");
  }
  DeclaredElement const *const declared = find_declared(path);
  if (declared == nullptr || find_declared(path + "/" + child.name) != nullptr ||
      is_reported(child) || parent.name == "Alias" ||
      check_setting_as_element(parent, child, path)) {
    return;
  }
  std::string const *const meant = find_meant(child.name, declared->elements);
  // With letters behind it, a name is another word: "Drives" and "Driver" beside "Drive".
  bool const is_other_word = meant == nullptr || starts_with(child.name, *meant);
  if (!is_other_word && parent.find_element(*meant) == nullptr &&
      has_only_settings_of(child, find_declared(path + "/" + *meant))) {
    add(child, ITSELF, "unknown element '" + child.name + "'", "write <" + *meant + ">");
    return;
  }
  std::string const top_path = file_.root.name + "/" + child.name;
  if (path != file_.root.name && find_declared(top_path) != nullptr &&
      file_.root.find_element(child.name) == nullptr) {
    add(child, ITSELF, "'" + child.name + "' stands inside '" + parent.name + "'",
        "move it directly into <" + file_.root.name + ">");
  }
}

// An element that was written for an attribute, here or one level too high; or, directly below the
// top, for the key and the value of one.
bool Checks::check_setting_as_element(Element const &parent, Element const &child,
                                      std::string const &path) {
  std::vector<std::string> const names = find_declared(path)->setting_names();
  auto const here = std::find_if(names.begin(), names.end(), [&child](std::string const &name) {
    return lower(name) == lower(child.name);
  });
  bool const is_here = here != names.end(), is_at_top = &parent == &file_.root;
  std::string owner = is_here ? parent.name : is_at_top ? find_owner(child.name) : "";
  std::string meant = is_here ? path + "/" + *here : path + "/" + owner + "/" + child.name;
  std::string const *text = owner.empty() ? nullptr : text_of_setting(child, owner);
  Attribute const *const key = is_at_top ? child.find_attribute("key") : nullptr;
  Attribute const *const value = child.find_attribute("value");
  if (key != nullptr && value != nullptr) {
    meant = key->text;
    text = &value->text;
  }
  DeclaredSetting const *const setting = text == nullptr ? nullptr : schema_->find_setting(meant);
  if (setting == nullptr) {
    return false;
  }
  std::vector<std::string> const components = split(meant, '/');
  owner = components[components.size() - 2];
  std::optional<ValueFault> const fault = judge_value(*text, setting->rule);
  add(child, ITSELF, "'" + child.name + "' is an element, but a setting is an attribute",
      unless_there(is_here ? &parent : file_.root.find_element(owner), setting->name,
                   "write " + setting->name + "=\"" + (fault ? "..." : *text) + "\" in <" + owner +
                       ">" + (fault ? "; there, " + fault->instead : "")));
  return true;
}

// Whether an alias leads to one of several elements by its index, which are then a list.
bool Checks::is_indexed_by_alias(std::string const &path) const {
  Element const *const aliases = file_.root.find_element("Aliases");
  return aliases != nullptr &&
         std::any_of(aliases->elements.begin(), aliases->elements.end(),
                     [&path](Element const &alias) {
                       Attribute const *const key = alias.find_attribute("value");
                       return key != nullptr && starts_with(key->text, path + ":");
                     });
}

// Elements of one name of which only the first is found by its key. They are sound as a list: if
// the schema or an alias says so, inside an element of the robot's own, if no other element stands
// between them except those of another list, or if a name or number tells them apart.
void Checks::check_twice(Element const &parent, std::string const &path) {
  std::map<std::string, std::vector<std::size_t>> const all_places = places_by_name(parent);
  for (auto const &[name, places] : all_places) {
    if (places.size() == 1 || name == "Alias") {
      continue;
    }
    DeclaredElement const *const declared = find_declared(path + "/" + name);
    bool const is_row = std::all_of(
        &parent.elements[places.front()], &parent.elements[places.back()],
        [&all_places](Element const &other) { return all_places.at(other.name).size() > 1; });
    bool const is_list = declared != nullptr
                             ? declared->is_list || declared->may_repeat
                             : is_row || &parent != &file_.root || are_told_apart(parent, places);
    if (is_list || is_indexed_by_alias(path + "/" + name)) {
      continue;
    }
    std::string const first_line = std::to_string(parent.elements[places.front()].line);
    for (std::size_t i = 1; i < places.size(); ++i) {
      add(parent.elements[places[i]], ITSELF,
          "a second '" + name + "', which no key without an index reads (the first is in line " +
              first_line + ")",
          "move what it holds to line " + first_line + ", each setting once");
    }
  }
}

} // namespace Ostrel::Tool
