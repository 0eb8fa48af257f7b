// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Values.hpp"

#include <algorithm>

namespace Ostrel::Tool {

namespace {

struct Found {
  Element const *element = nullptr;
  std::string path;
};

Found find_node(Element const &element, std::string const &path, _xmlNode const *node) {
  if (element.node == node) {
    return {&element, path};
  }
  for (Element const &child : element.elements) {
    Found found = find_node(child, path + "/" + child.name, node);
    if (found.element != nullptr) {
      return found;
    }
  }
  return {};
}

// The text between two others; empty if it is not there.
std::string between(std::string const &text, std::string const &before, std::string const &after) {
  std::size_t const found = text.find(before);
  if (found == std::string::npos) {
    return "";
  }
  std::size_t const start = found + before.size();
  return text.substr(start, text.find(after, start) - start);
}

// "Sonar: ..." or "MaximumRange: ..." for the words with which the parser begins.
std::string in_our_words(SchemaFault const &fault, std::string const &element) {
  std::size_t const colon = fault.message.find("': ");
  std::string text = colon == std::string::npos ? fault.message : fault.message.substr(colon + 3);
  if (starts_with(text, "[facet 'pattern']")) {
    text = "'" + between(text, "The value '", "' is not accepted") + "' is not of the right form";
  } else if (starts_with(text, "[facet ")) {
    text = text.substr(text.find("] ") + 2);
  }
  if (!text.empty() && text.back() == '.') {
    text.pop_back();
  }
  return (fault.attribute.empty() ? element : fault.attribute) + ": " + text;
}

// What the parser's message says that it expects; empty if it says nothing.
std::string expected_by(std::string const &message) {
  struct {
    char const *before, *after, *instead;
  } static constexpr PARTS[] = {{"maximum value allowed ('", "'", "write at most "},
                                {"minimum value allowed ('", "'", "write at least "},
                                {"must be less than '", "'", "write less than "},
                                {"must be greater than '", "'", "write more than "},
                                {"of the set {", "}", "write one of "},
                                {"Expected is one of ( ", " )", "write one of "},
                                {"Expected is ( ", " )", "write "},
                                {"type '", "'", "write a value of the type "}};
  for (auto const &part : PARTS) {
    std::string const text = between(message, part.before, part.after);
    if (!text.empty()) {
      return part.instead + text;
    }
  }
  return "";
}

} // namespace

void Checks::check_against_schema() {
  if (schema_ == nullptr || file_.root.has_namespace) {
    return;
  }
  for (SchemaFault const &fault : validate(file_, *schema_)) {
    check_fault(fault);
  }
}

// Adds a fault, unless another check has found it in better words.
void Checks::check_fault(SchemaFault const &fault) {
  Found const found = find_node(file_.root, file_.root.name, fault.element);
  Element const &element = found.element == nullptr ? file_.root : *found.element;
  DeclaredElement const *const declared = find_declared(found.path);
  DeclaredSetting const *const setting =
      declared == nullptr ? nullptr : declared->find_setting(fault.attribute);
  Attribute const *const attribute = element.find_attribute(fault.attribute);
  bool const is_text = fault.message.find("Character content") != std::string::npos;
  long const line = is_text                ? element.text_line
                    : attribute == nullptr ? element.line
                                           : attribute->line;
  bool const is_known = std::any_of(
      findings_->begin(), findings_->end(), [this, line, &fault](Finding const &finding) {
        return finding.file == file_.path && finding.line == line &&
               finding.what.find(fault.attribute) != std::string::npos;
      });
  // What is wrong with an alias has been said in better words.
  bool const is_alias = found.path.find("/Aliases") != std::string::npos && has_finding(line);
  // The library reads more truth values than XML Schema has.
  bool const is_sound = setting != nullptr && attribute != nullptr &&
                        setting->rule.form == ValueRule::TRUTH &&
                        !judge_value(attribute->text, setting->rule);
  if (is_known || is_alias || is_sound) {
    return;
  }
  std::string instead = expected_by(fault.message);
  if (setting != nullptr && attribute == nullptr) {
    instead = "write " + setting->name + "=\"...\"";
  } else if (setting != nullptr && !setting->purpose.empty()) {
    instead = "write what it is for: " + setting->purpose;
  } else if (is_text) {
    instead = "remove the text '" + element.text + "', or write it as an attribute";
  } else if (instead.empty()) {
    instead = "remove it, or declare it in " + schema_->path;
  }
  add(line, in_our_words(fault, element.name), instead);
}

} // namespace Ostrel::Tool
