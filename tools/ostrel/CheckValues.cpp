// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Values.hpp"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Ostrel::Tool {

namespace {

DeclaredSetting const *find_setting(DeclaredElement const *declared, std::string const &name) {
  return declared == nullptr ? nullptr : declared->find_setting(name);
}

std::string last_word(std::string const &name) {
  std::vector<std::string> const words = words_of(name);
  return words.empty() ? "" : words.back();
}

// The words of the name of a maximum, for those of a minimum; empty if it is none.
std::vector<std::string> words_of_maximum(std::string const &minimum) {
  std::vector<std::string> words = words_of(minimum);
  for (std::string &word : words) {
    if (word == "minimum" || word == "min") {
      word.replace(0, word.size(), word == "min" ? "max" : "maximum");
      return words;
    }
  }
  return {};
}

} // namespace

Checks::Checks(SettingsFile const &file, Schema const *schema, std::vector<Finding> *findings)
    : file_(file), schema_(schema), findings_(findings) {
  if (schema == nullptr) {
    return;
  }
  for (auto const &[path, element] : schema->elements) {
    for (DeclaredSetting const &setting : element.settings) {
      if (setting.rule.form == ValueRule::NUMBER || setting.rule.form == ValueRule::WHOLE_NUMBER) {
        number_words_.insert(last_word(setting.name));
      }
    }
  }
}

void Checks::check_values() {
  check_values_below(file_.root, file_.root.name);
}

void Checks::check_values_below(Element const &element, std::string const &path) {
  if (path == file_.root.name + "/Aliases") {
    return;
  }
  DeclaredElement const *const declared = find_declared(path);
  for (Attribute const &attribute : element.attributes) {
    check_value(element, attribute, declared);
    check_order(element, attribute, declared);
  }
  if (declared != nullptr && declared->text_rule && element.elements.empty()) {
    if (auto const fault = judge_value(element.text, *declared->text_rule)) {
      add(element, TEXT, element.name + ": " + fault->what, fault->instead);
    }
  }
  for (Element const &child : element.elements) {
    check_values_below(child, path + "/" + child.name);
  }
}

void Checks::check_value(Element const &element, Attribute const &attribute,
                         DeclaredElement const *declared) {
  DeclaredSetting const *const setting = find_setting(declared, attribute.name);
  if (is_reported(element, attribute.name) ||
      (setting == nullptr && declared != nullptr && check_name(element, attribute, *declared))) {
    return;
  }
  std::optional<ValueFault> const fault =
      setting != nullptr
          ? judge_value(attribute.text, setting->rule)
          : judge_unknown_value(attribute.name, attribute.text, names_number(attribute.name));
  if (fault) {
    add(element, attribute.name, attribute.name + ": " + fault->what, fault->instead);
  }
}

// A setting that a declared element does not have: misspelt, or that of another element. Names of
// one word, such as Speed, may well be the robot's own.
bool Checks::check_name(Element const &element, Attribute const &attribute,
                        DeclaredElement const &declared) {
  std::string const &name = attribute.name;
  std::vector<std::string> const names = declared.setting_names();
  std::string const *const meant = find_meant(name, names);
  if (meant != nullptr && element.find_attribute(*meant) == nullptr) {
    add(element, name, "unknown attribute '" + name + "' of '" + element.name + "'",
        "write " + *meant);
    reported_.emplace(&element, *meant); // is not missing
    return true;
  }
  std::string const owner = words_of(name).size() > 1 ? find_owner(name) : "";
  Element const *const other = file_.root.find_element(owner);
  if (owner.empty() || &element == &file_.root ||
      (other != nullptr && other->find_attribute(name) != nullptr)) {
    return false;
  }
  add(element, name,
      "'" + name + "' is a setting of '" + owner + "', not of '" + element.name + "'",
      "move it into <" + owner + ">");
  return true;
}

// Whether a setting is a number, to judge by its last word: a kind of quantity, or the last word of
// a setting that is declared as a number.
bool Checks::names_number(std::string const &setting) const {
  return number_words_.count(last_word(setting)) != 0 || kind_named_by(setting) != nullptr;
}

// A minimum above the maximum of the same name.
void Checks::check_order(Element const &element, Attribute const &minimum,
                         DeclaredElement const *declared) {
  std::vector<std::string> const words = words_of_maximum(minimum.name);
  auto const maximum =
      std::find_if(element.attributes.begin(), element.attributes.end(),
                   [&words](Attribute const &other) { return words_of(other.name) == words; });
  UnitKind const *const kind = kind_named_by(minimum.name);
  if (words.empty() || maximum == element.attributes.end() ||
      (kind != nullptr && kind->type == UNIT_TYPE_ANGLE)) {
    return;
  }
  DeclaredSetting const *const low = find_setting(declared, minimum.name);
  DeclaredSetting const *const high = find_setting(declared, maximum->name);
  std::string const unit = high != nullptr ? high->rule.unit : low != nullptr ? low->rule.unit : "";
  if (is_above(minimum.text, maximum->text, unit, names_number(minimum.name))) {
    add(element, minimum.name,
        minimum.name + ": " + minimum.text + " is above " + maximum->name + ", " + maximum->text,
        "write at most " + maximum->text);
  }
}

} // namespace Ostrel::Tool
