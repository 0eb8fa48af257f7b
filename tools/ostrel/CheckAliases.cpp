// SPDX-License-Identifier: Apache-2.0
// The library reads the elements Alias of the first element Aliases, and nothing else. Each has the
// attributes name and value; a later one replaces an earlier one of the same name.
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/Settings.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace Ostrel::Tool {

namespace {

constexpr char const *LIST = "Aliases", *ENTRY = "Alias";
constexpr char const *ANY_KEY = "the key of a setting: UserConfig/KEY/VALUE";

bool looks_like_alias(Element const &element) {
  return element.find_attribute("name") != nullptr && element.find_attribute("value") != nullptr;
}

void collect_keys(Element const &element, std::string const &path, std::vector<std::string> *keys) {
  for (Attribute const &attribute : element.attributes) {
    keys->push_back(path + "/" + attribute.name);
  }
  for (Element const &child : element.elements) {
    if (child.name != LIST) {
      collect_keys(child, path + "/" + child.name, keys);
    }
  }
}

// The sub-key that a component of a path such as "Sensor:1" names; null if there is none.
Element const *find_sub_key(Element const &element, std::string const &component) {
  std::size_t const colon = component.find(':');
  long const index =
      colon == component.npos ? 0 : std::strtol(component.c_str() + colon + 1, nullptr, 10);
  return element.find_element(component.substr(0, colon), index);
}

// The element that a path leads to; null if there is none.
Element const *find_key(Element const &root, std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  std::vector<std::string> const components = split(path, '/');
  Element const *found = components.front() == root.name ? &root : nullptr;
  for (std::size_t i = 1; i < components.size() && found != nullptr; ++i) {
    found = find_sub_key(*found, components[i]);
  }
  return found;
}

std::string without_dollars(std::string const &text) {
  return std::string(trimmed(text.substr(std::min(text.find_first_not_of('$'), text.size()))));
}

// What was probably meant by a key: without blanks and empty parts, and below the top key.
std::string repaired_key(std::string const &key, std::string const &top) {
  std::string repaired;
  for (std::string const &part : split(key, '/')) {
    bool const is_missing = repaired.empty() && trimmed(part) != top;
    if (!trimmed(part).empty()) {
      repaired += (is_missing ? top + "/" : repaired.empty() ? "" : "/");
      repaired += trimmed(part);
    }
  }
  return repaired;
}

bool contains(std::vector<std::string> const &texts, std::string const &text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// What is missing in an alias: it may be there under another name, or as the text of the element.
std::string complete_alias(Element const &alias, std::string const &wanted) {
  Attribute const *other = nullptr;
  for (Attribute const &attribute : alias.attributes) {
    bool const is_other = attribute.name != "name" && attribute.name != "value";
    if (is_other && (other == nullptr || is_misspelling(attribute.name, wanted))) {
      other = &attribute;
    }
  }
  if (other != nullptr) {
    return "write " + wanted + "=\"" + other->text + "\" for " + other->name;
  }
  std::string const text = wanted == "name" ? "ALIAS" : alias.text.empty() ? "KEY" : alias.text;
  return "write " + wanted + "=\"" + text + "\"";
}

} // namespace

void Checks::check_aliases() {
  if (file_.root.name != "UserConfig") {
    return;
  }
  Element const *const list = file_.root.find_element(LIST);
  for (Element const &child : file_.root.elements) {
    if (&child == list) {
      check_same_aliases(child);
      check_entries(child);
    } else if (is_misspelling(child.name, LIST)) {
      add(child.line, "the aliases in '" + child.name + "' are not read", "write <Aliases>");
    } else if (child.name != LIST) {
      check_alias_outside(child);
    }
  }
}

void Checks::check_entries(Element const &aliases) {
  for (Element const &child : aliases.elements) {
    if (child.name == ENTRY) {
      check_alias(child);
    } else if (looks_like_alias(child) || is_misspelling(child.name, ENTRY)) {
      add(child.line, "'" + child.name + "' is not read as an alias", "write <Alias");
    }
    for (Element const &deeper : child.elements) {
      check_alias_outside(deeper);
    }
  }
}

void Checks::check_alias_outside(Element const &element) {
  if (element.name == ENTRY && looks_like_alias(element)) {
    add(element.line, "an alias that is not directly in <Aliases> is not read",
        "move it into <Aliases>");
  }
  for (Element const &child : element.elements) {
    check_alias_outside(child);
  }
}

void Checks::check_same_aliases(Element const &aliases) {
  std::map<std::string, long> lines;
  for (Element const &alias : aliases.elements) {
    Attribute const *const name = alias.find_attribute("name");
    if (alias.name != ENTRY || name == nullptr) {
      continue;
    }
    auto const [first, is_new] = lines.emplace(name->text, alias.line);
    if (!is_new) {
      add(alias.line,
          "the alias '" + name->text + "' replaces that of line " + std::to_string(first->second),
          "remove or rename one of the two");
    }
  }
}

void Checks::check_alias(Element const &alias) {
  for (std::string const wanted : {"name", "value"}) {
    if (alias.find_attribute(wanted) == nullptr) {
      add(alias.line, "an alias has no '" + wanted + "' and is skipped",
          complete_alias(alias, wanted));
      return;
    }
  }
  check_alias_name(alias, alias.find_attribute("name")->text);
  check_alias_key(alias, alias.find_attribute("value")->text);
}

void Checks::check_alias_name(Element const &alias, std::string const &name) {
  std::string const plain = without_dollars(std::string(trimmed(name)));
  if (plain.empty()) {
    add(alias.line, "an alias has an empty name", "write name=\"ALIAS\"");
  } else if (plain != name) {
    add(alias.line, "the alias '" + name + "' is found only as '$" + name + "'",
        "write name=\"" + plain + "\"");
  }
}

void Checks::check_alias_key(Element const &alias, std::string const &key) {
  if (starts_with(key, "$")) {
    Element const *target = nullptr;
    for (Element const &other : file_.root.find_element(LIST)->elements) {
      Attribute const *const name = other.find_attribute("name");
      target = name != nullptr && '$' + name->text == key ? &other : target;
    }
    Attribute const *const full = target == nullptr ? nullptr : target->find_attribute("value");
    add(alias.line, "the alias leads to another alias, '" + key + "', which is not followed",
        "write " + (full == nullptr || starts_with(full->text, "$") ? ANY_KEY : full->text));
    return;
  }
  std::vector<std::string> keys;
  collect_keys(file_.root, file_.root.name, &keys);
  if (schema_ != nullptr) {
    std::vector<std::string> const declared = schema_->keys();
    keys.insert(keys.end(), declared.begin(), declared.end());
  }
  std::string const repaired = repaired_key(key, file_.root.name);
  std::string const *const nearest = contains(keys, repaired) ? &repaired : find_nearest(key, keys);
  std::string const instead = "write " + (nearest == nullptr ? ANY_KEY : *nearest);
  if (!is_well_formed_key(key)) {
    add(alias.line, "the alias leads to '" + key + "', which is not of the form ROOT/KEY../VALUE",
        instead);
    return;
  }
  std::size_t const slash = key.rfind('/');
  Element const *const element = find_key(file_.root, key.substr(0, slash));
  bool const exists =
      element != nullptr && element->find_attribute(key.substr(slash + 1)) != nullptr;
  if (exists || contains(keys, key)) {
    return;
  }
  if (find_key(file_.root, key) != nullptr) {
    add(alias.line, "the alias leads to the key '" + key + "', which is no value",
        "write " + key + "/VALUE");
    return;
  }
  add(alias.line, "the alias leads to '" + key + "', which does not exist", instead);
}

} // namespace Ostrel::Tool
