// SPDX-License-Identifier: Apache-2.0
// The library reads the elements Alias of the first element Aliases, and nothing else. Each has the
// attributes name and value; a later one replaces an earlier one of the same name.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/Numbers.hpp"
#include "tools/ostrel/Settings.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
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

// What is missing in an alias: it may be there under another name, as an element, or as a text.
std::string complete_alias(Element const &alias, std::string const &wanted) {
  for (Attribute const &other : alias.attributes) {
    bool const is_key = other.text.find('/') != std::string::npos;
    if (other.name != "name" && other.name != "value" && is_key == (wanted == "value")) {
      return wanted + "=\"" + other.text + "\" for " + other.name;
    }
  }
  Element const *const inner = alias.find_element(wanted);
  std::string const text = inner != nullptr     ? inner->text
                           : wanted == "name"   ? "ALIAS"
                           : alias.text.empty() ? "KEY"
                                                : alias.text;
  return wanted + "=\"" + text + "\"";
}

// The key for which the library itself declares an alias; null if it does not.
char const *find_built_in(std::string const &name) {
  struct {
    char const *name, *key;
  } static constexpr BUILT_IN[] = {
      {"ObstacleAvoidanceMethod", "UserConfig/ObstacleAvoidance/Method"},
      {"VisualAvoidanceTolerance", "UserConfig/VisualAvoidance/Tolerance"}};
  auto const *const found = std::find_if(std::begin(BUILT_IN), std::end(BUILT_IN),
                                         [&name](auto const &alias) { return name == alias.name; });
  return found == std::end(BUILT_IN) ? nullptr : found->key;
}

// What to write for an index that leads to no element: how many there are, counted from 0. Empty if
// there is none, or if the key leads to no element without it.
std::string index_text(Element const &root, std::string const &key) {
  std::vector<std::string> const components = split(key, '/');
  Element const *element = &root;
  for (std::size_t i = 1; i < components.size(); ++i) {
    std::size_t const mark = components[i].find_first_of(":[");
    std::string const name = components[i].substr(0, mark);
    auto const count = std::count_if(element->elements.begin(), element->elements.end(),
                                     [&name](Element const &child) { return child.name == name; });
    if (count == 0) {
      return "";
    }
    double index = 0;
    bool const is_right =
        mark == name.npos ||
        (components[i][mark] == ':' && parse_number(components[i].substr(mark + 1), &index) &&
         index < static_cast<double>(count));
    if (!is_right) {
      return count == 1 ? "write " + name + ", of which there is one"
                        : "write " + name + ":N, with N from 0 to " + std::to_string(count - 1);
    }
    element = element->find_element(name, static_cast<long>(index));
  }
  return "";
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
      add(child, ITSELF, "the aliases in '" + child.name + "' are not read", "write <Aliases>");
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
      add(child, ITSELF, "'" + child.name + "' is not read as an alias", "write <Alias");
    }
    for (Element const &deeper : child.elements) {
      check_alias_outside(deeper);
    }
  }
}

// An alias of a setting: an element Alias of the robot's own has other values.
void Checks::check_alias_outside(Element const &element) {
  if (element.name == ENTRY && looks_like_alias(element) &&
      starts_with(element.find_attribute("value")->text, file_.root.name + "/")) {
    add(element, ITSELF, "an alias that is not directly in <Aliases> is not read",
        "move it into <Aliases>");
  }
  for (Element const &child : element.elements) {
    check_alias_outside(child);
  }
}

// Aliases of the same name, or, with another key, of the same but for case.
void Checks::check_same_aliases(Element const &aliases) {
  std::map<std::string, Element const *> known;
  for (Element const &alias : aliases.elements) {
    if (alias.name != ENTRY || !looks_like_alias(alias)) {
      continue;
    }
    std::string const &name = alias.find_attribute("name")->text;
    auto const [first, is_new] = known.emplace(lower(name), &alias);
    std::string const &other = first->second->find_attribute("name")->text;
    bool const is_same_key =
        alias.find_attribute("value")->text == first->second->find_attribute("value")->text;
    if (!is_new && (name == other || !is_same_key)) {
      add(alias, "name",
          "the alias '" + name + "' " +
              (name == other ? "replaces that" : "differs only in case from that") + " of line " +
              std::to_string(first->second->line),
          "remove or rename one of the two");
    }
  }
}

void Checks::check_alias(Element const &alias) {
  std::string missing, completion;
  for (std::string const wanted : {"name", "value"}) {
    if (alias.find_attribute(wanted) == nullptr) {
      missing += (missing.empty() ? "'" : " and no '") + wanted + "'";
      completion += (completion.empty() ? "write " : " and ") + complete_alias(alias, wanted);
    }
  }
  if (!missing.empty()) {
    add(alias, ITSELF, "an alias has no " + missing + " and is skipped", completion);
    return;
  }
  std::string const &name = alias.find_attribute("name")->text;
  std::string const &key = alias.find_attribute("value")->text;
  if (!exists(key) && exists(name)) {
    add(alias, ITSELF, "an alias has its key as its name",
        "write name=\"" + key + "\" value=\"" + name + "\"");
    return;
  }
  check_alias_name(alias, name);
  check_alias_key(alias, key);
  char const *const built_in = find_built_in(name);
  if (built_in != nullptr && key != built_in) {
    add(alias, "name",
        "the alias '" + name + "' replaces the built-in one, which leads to " + built_in,
        "rename it");
  }
}

void Checks::check_alias_name(Element const &alias, std::string const &name) {
  std::string const plain = without_dollars(std::string(trimmed(name)));
  if (plain.empty()) {
    add(alias, "name", "an alias has an empty name", "write name=\"ALIAS\"");
  } else if (plain != name) {
    add(alias, "name", "the alias '" + name + "' is found only as '$" + name + "'",
        "write name=\"" + plain + "\"");
  }
}

bool Checks::exists(std::string const &key) const {
  std::size_t const slash = key.rfind('/');
  std::string text;
  return is_well_formed_key(key) &&
         ((schema_ != nullptr && schema_->find_setting(key) != nullptr) ||
          Configuration(*file_.source)
                  .get_value(key.substr(0, slash).c_str(), key.c_str() + slash + 1, &text) ==
              RESULT_SUCCESS);
}

// Those in which a nearest one is searched; none in a large file, where that would take too long.
std::vector<std::string> const &Checks::known_keys() {
  constexpr std::size_t MANY = 10000;
  if (!keys_) {
    keys_ = schema_ == nullptr ? std::vector<std::string>() : schema_->keys();
    collect_keys(file_.root, file_.root.name, &*keys_);
    if (keys_->size() > MANY) {
      keys_->clear();
    }
  }
  return *keys_;
}

void Checks::check_alias_key(Element const &alias, std::string const &key) {
  if (starts_with(key, "$")) {
    Element const *target = nullptr;
    for (Element const &other : file_.root.find_element(LIST)->elements) {
      Attribute const *const name = other.find_attribute("name");
      target = name != nullptr && '$' + name->text == key ? &other : target;
    }
    Attribute const *const full = target == nullptr ? nullptr : target->find_attribute("value");
    add(alias, "value", "the alias leads to another alias, '" + key + "', which is not followed",
        "write " + (full == nullptr || !exists(full->text) ? ANY_KEY : full->text));
    return;
  }
  if (exists(key)) {
    return;
  }
  bool const is_well_formed = is_well_formed_key(key);
  if (is_well_formed && Configuration(*file_.source).find_key(key.c_str()) != nullptr) {
    add(alias, "value", "the alias leads to the key '" + key + "', which is no value",
        "write " + key + "/VALUE");
    return;
  }
  std::string const repaired = repaired_key(key, file_.root.name);
  std::string instead = exists(repaired) ? "write " + repaired : index_text(file_.root, key);
  if (instead.empty()) {
    std::string const *const nearest = find_nearest(key, known_keys());
    instead = "write " + (nearest == nullptr ? ANY_KEY : *nearest);
  }
  add(alias, "value",
      "the alias leads to '" + key + "', which " +
          (is_well_formed ? "does not exist" : "is not of the form ROOT/KEY../VALUE"),
      instead);
}

} // namespace Ostrel::Tool
