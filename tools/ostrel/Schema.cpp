// SPDX-License-Identifier: Apache-2.0
// A schema is read twice: by the parser's own validation, and, as an XML file like any other, for
// what validation does not tell: purposes, units, ranges and choices.
#include "tools/ostrel/Schema.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Text.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <utility>

namespace Ostrel::Tool {

namespace {

constexpr int DEEPEST = 16; // levels of elements, types and groups; a recursive schema has no end

std::string attribute_of(Element const &element, char const *name) {
  Attribute const *const found = element.find_attribute(name);
  return found == nullptr ? "" : found->text;
}

// Without a prefix.
std::string local_name(std::string const &name) {
  return name.substr(name.find(':') + 1);
}

Element const *find_named(Element const &schema, char const *kind, std::string const &name) {
  for (Element const &element : schema.elements) {
    if (element.name == kind && attribute_of(element, "name") == local_name(name)) {
      return &element;
    }
  }
  return nullptr;
}

std::string all_text(Element const &element, char const *name) {
  Element const *const annotation = element.find_element("annotation");
  Element const *const found = annotation == nullptr ? nullptr : annotation->find_element(name);
  std::string text; // in one line
  for (char const c : found == nullptr ? std::string() : found->text) {
    bool const is_blank = c == ' ' || c == '\n' || c == '\r' || c == '\t';
    if (!is_blank || (!text.empty() && text.back() != ' ')) {
      text += is_blank ? ' ' : c;
    }
  }
  return text;
}

// Adds the declarations of the schemas that a schema includes, also by others. Files that cannot be
// read are faults in the parser's own reading.
void add_included(Element *schema, std::filesystem::path const &path,
                  std::set<std::string> *known) {
  std::vector<Element> declarations;
  for (Element const &include : schema->elements) {
    std::filesystem::path const file =
        (path.parent_path() / attribute_of(include, "schemaLocation")).lexically_normal();
    if (include.name != "include" || !known->insert(file.string()).second) {
      continue;
    }
    std::vector<Finding> faults;
    if (std::optional<SettingsFile> included = read_schema_file(file.string(), &faults)) {
      add_included(&included->root, file, known);
      std::move(included->root.elements.begin(), included->root.elements.end(),
                std::back_inserter(declarations));
    }
  }
  std::move(declarations.begin(), declarations.end(), std::back_inserter(schema->elements));
}

Element const *find_information(Element const &declared, char const *name) {
  Element const *const annotation = declared.find_element("annotation");
  for (long i = 0; annotation != nullptr; ++i) {
    Element const *const information = annotation->find_element("appinfo", i);
    if (information == nullptr) {
      return nullptr;
    }
    if (Element const *const found = information->find_element(name)) {
      return found;
    }
  }
  return nullptr;
}

bool occurs_often(Element const &particle) {
  std::string const most = attribute_of(particle, "maxOccurs");
  return !most.empty() && most != "0" && most != "1";
}

// Makes the model of a schema from its elements.
class Model {
public:
  explicit Model(Element const &schema) : schema_(schema) { find_references(schema); }

  // Empty if the schema is not one of settings, which are in no namespace.
  std::map<std::string, DeclaredElement> read() {
    Element const *const top = find_named(schema_, "element", "UserConfig");
    if (top != nullptr && schema_.find_attribute("targetNamespace") == nullptr) {
      add_element(*top, "", 0, false);
    }
    return std::move(elements_);
  }

private:
  Element const &resolved(Element const &declared, char const *kind) const {
    Element const *const found = find_named(schema_, kind, attribute_of(declared, "ref"));
    return found == nullptr ? declared : *found;
  }

  void add_element(Element const &use, std::string const &parent, int depth, bool repeats) {
    Element const &declared = resolved(use, "element");
    std::string const name = attribute_of(declared, "name");
    std::string const path = parent.empty() ? name : parent + "/" + name;
    if (name.empty() || depth > DEEPEST || elements_.count(path) != 0) {
      return;
    }
    if (!parent.empty()) {
      elements_[parent].elements.push_back(name);
    }
    elements_[path].purpose = all_text(declared, "documentation");
    elements_[path].is_list = find_information(declared, "list") != nullptr || occurs_often(use);
    elements_[path].may_repeat = repeats;
    Element const *type = declared.find_element("complexType");
    if (type == nullptr) {
      type = find_named(schema_, "complexType", attribute_of(declared, "type"));
    }
    if (type != nullptr) {
      add_contents(*type, path, depth, false);
    } else {
      ValueRule rule;
      add_type(declared, attribute_of(declared, "type"), &rule, 0);
      add_unit(declared, &rule);
      elements_[path].text_rule = std::move(rule);
    }
  }

  // Of a type, and of all that it consists of.
  void add_contents(Element const &part, std::string const &path, int depth, bool repeats) {
    if (depth > DEEPEST) {
      return;
    }
    for (Element const &child : part.elements) {
      if (child.name == "element") {
        add_element(child, path, depth + 1, repeats);
      } else if (child.name == "attribute") {
        add_setting(child, path);
      } else if (child.name == "any") {
        if (path.find('/') == path.npos) {
          add_all_global(path);
        }
      } else if (child.name == "group" || child.name == "attributeGroup") {
        add_contents(resolved(child, child.name.c_str()), path, depth + 1,
                     repeats || occurs_often(child));
      } else if (child.name == "extension") {
        Element const *const base = find_named(schema_, "complexType", attribute_of(child, "base"));
        if (base != nullptr) {
          add_contents(*base, path, depth + 1, repeats);
        }
        add_contents(child, path, depth, repeats || occurs_often(child));
      } else if (child.name != "annotation") {
        add_contents(child, path, depth, repeats || occurs_often(child));
      }
    }
  }

  void find_references(Element const &part) {
    for (Element const &child : part.elements) {
      references_.insert(local_name(attribute_of(child, "ref")));
      find_references(child);
    }
  }

  // What any element of the top key may be: all that are declared for no other place. Below other
  // keys, nearly everything would be allowed everywhere.
  void add_all_global(std::string const &path) {
    for (Element const &element : schema_.elements) {
      std::string const name = attribute_of(element, "name");
      if (element.name == "element" && name != path && references_.count(name) == 0) {
        add_element(element, path, 1, false);
      }
    }
  }

  void add_setting(Element const &use, std::string const &path) {
    Element const &declared = resolved(use, "attribute");
    DeclaredSetting setting;
    setting.name = attribute_of(declared, "name");
    setting.purpose = all_text(declared, "documentation");
    for (char const *const name : {"default", "fixed"}) {
      if (Attribute const *const text = declared.find_attribute(name)) {
        setting.default_text = text->text;
      }
    }
    add_type(declared, attribute_of(declared, "type"), &setting.rule, 0);
    add_unit(declared, &setting.rule);
    elements_[path].settings.push_back(std::move(setting));
  }

  static void add_unit(Element const &declared, ValueRule *rule) {
    Element const *const unit = find_information(declared, "unit");
    std::string const kind = unit == nullptr ? "" : attribute_of(*unit, "kind");
    rule->has_kind = kind == "distance" || kind == "angle" || kind == "time";
    rule->kind = kind == "angle"  ? UNIT_TYPE_ANGLE
                 : kind == "time" ? UNIT_TYPE_TIME
                                  : UNIT_TYPE_DISTANCE;
    rule->unit = unit == nullptr ? "" : unit->text;
  }

  // The type that is inside a declaration, or else the named one.
  void add_type(Element const &declared, std::string const &name, ValueRule *rule, int depth) {
    Element const *const inside = declared.find_element("simpleType");
    Element const *const type =
        inside != nullptr ? inside : find_named(schema_, "simpleType", name);
    if (type == nullptr) {
      add_built_in(local_name(name), rule);
      return;
    }
    if (depth > DEEPEST) {
      return;
    }
    rule->form_purpose = all_text(*type, "documentation");
    if (Element const *const restriction = type->find_element("restriction")) {
      add_type(*restriction, attribute_of(*restriction, "base"), rule, depth + 1);
      add_facets(*restriction, rule);
    }
    if (Element const *const united = type->find_element("union")) {
      add_union(*united, rule, depth + 1);
    }
  }

  void add_union(Element const &united, ValueRule *rule, int depth) {
    std::vector<ValueRule> members;
    for (std::string const &name : split(attribute_of(united, "memberTypes"), ' ')) {
      if (!name.empty()) {
        add_type(Element(), name, &members.emplace_back(), depth);
      }
    }
    for (Element const &type : united.elements) {
      if (type.name == "simpleType") {
        Element holder;
        holder.elements.push_back(type);
        add_type(holder, "", &members.emplace_back(), depth);
      }
    }
    bool has_text = false;
    for (ValueRule &member : members) {
      bool const is_text = member.form == ValueRule::TEXT && member.choices.empty();
      has_text = has_text || is_text;
      if (!is_text) {
        *rule = std::move(member);
      }
    }
    rule->allows_text = has_text;
  }

  static void add_built_in(std::string const &name, ValueRule *rule) {
    struct {
      char const *name, *minimum, *maximum;
    } static constexpr WHOLE_NUMBERS[] = {{"integer", "", ""},
                                          {"long", "", ""},
                                          {"int", "-2147483648", "2147483647"},
                                          {"short", "-32768", "32767"},
                                          {"byte", "-128", "127"},
                                          {"nonNegativeInteger", "0", ""},
                                          {"positiveInteger", "1", ""},
                                          {"nonPositiveInteger", "", "0"},
                                          {"negativeInteger", "", "-1"},
                                          {"unsignedLong", "0", ""},
                                          {"unsignedInt", "0", "4294967295"},
                                          {"unsignedShort", "0", "65535"},
                                          {"unsignedByte", "0", "255"}};
    if (name == "double" || name == "float" || name == "decimal") {
      rule->form = ValueRule::NUMBER;
    } else if (name == "boolean") {
      rule->form = ValueRule::TRUTH;
    }
    for (auto const &whole : WHOLE_NUMBERS) {
      if (name == whole.name) {
        rule->form = ValueRule::WHOLE_NUMBER;
        rule->minimum = whole.minimum;
        rule->maximum = whole.maximum;
      }
    }
  }

  static void add_facets(Element const &restriction, ValueRule *rule) {
    for (Element const &facet : restriction.elements) {
      std::string const value = attribute_of(facet, "value");
      if (facet.name == "minInclusive" || facet.name == "minExclusive") {
        rule->minimum = value;
        rule->excludes_minimum = facet.name == "minExclusive";
      } else if (facet.name == "maxInclusive" || facet.name == "maxExclusive") {
        rule->maximum = value;
        rule->excludes_maximum = facet.name == "maxExclusive";
      } else if (facet.name == "enumeration") {
        rule->choices.push_back(value);
      }
    }
  }

  Element const &schema_;
  std::set<std::string> references_;
  std::map<std::string, DeclaredElement> elements_;
};

struct FreeSchema {
  void operator()(xmlSchemaParserCtxt *context) const noexcept { xmlSchemaFreeParserCtxt(context); }
  void operator()(xmlSchemaValidCtxt *context) const noexcept { xmlSchemaFreeValidCtxt(context); }
};

// Without the full stop at its end.
std::string message_of(xmlError const &error) {
  std::string const text(trimmed(error.message == nullptr ? "" : error.message));
  return text.substr(0, text.find_last_not_of('.') + 1);
}

struct SchemaErrors {
  std::string path;
  std::vector<Finding> found;

  void add(std::string const &file, long line, std::string const &what) {
    found.push_back({file, line, "not a usable schema: " + what,
                     "correct the schema; until then it checks nothing"});
  }

  static void record(void *context, xmlError *error) {
    auto &errors = *static_cast<SchemaErrors *>(context);
    if (error->level != XML_ERR_WARNING) {
      errors.add(error->file == nullptr ? errors.path : error->file, std::max(error->line, 1),
                 message_of(*error));
    }
  }
};

// Of the types of values, or of their facets.
bool is_value_fault(int code) {
  return code >= XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_1 && code <= XML_SCHEMAV_CVC_ENUMERATION_VALID;
}

SchemaFault::Kind kind_of(xmlError const &error) {
  switch (error.code) {
  case XML_SCHEMAV_CVC_COMPLEX_TYPE_4:
    return SchemaFault::MISSING;
  case XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_1:
  case XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_2:
    return SchemaFault::UNKNOWN;
  case XML_SCHEMAV_ELEMENT_CONTENT:
    return SchemaFault::CONTENT;
  case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_1:
  case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_3:
    return SchemaFault::TEXT;
  default:
    return is_value_fault(error.code) ? SchemaFault::VALUE : SchemaFault::OTHER;
  }
}

void record_fault(void *context, xmlError *error) {
  auto &faults = *static_cast<std::vector<SchemaFault> *>(context);
  auto const *const node = static_cast<xmlNode const *>(error->node);
  bool const is_of_parser = error->code == XML_SCHEMAV_INTERNAL; // it cannot validate entities
  if (node != nullptr && !is_of_parser) {
    faults.push_back(
        {kind_of(*error), node, error->str1 == nullptr ? "" : error->str1, message_of(*error)});
  }
}

} // namespace

DeclaredSetting const *DeclaredElement::find_setting(std::string const &name) const {
  auto const found =
      std::find_if(settings.begin(), settings.end(),
                   [&name](DeclaredSetting const &setting) { return setting.name == name; });
  return found == settings.end() ? nullptr : &*found;
}

std::vector<std::string> DeclaredElement::setting_names() const {
  std::vector<std::string> names;
  names.reserve(settings.size());
  for (DeclaredSetting const &setting : settings) {
    names.push_back(setting.name);
  }
  return names;
}

DeclaredElement const *Schema::find_element(std::string const &element_path) const {
  auto const found = elements.find(element_path);
  return found == elements.end() ? nullptr : &found->second;
}

DeclaredSetting const *Schema::find_setting(std::string const &key) const {
  std::size_t const slash = std::min(key.rfind('/'), key.size());
  DeclaredElement const *const element = find_element(key.substr(0, slash));
  return element == nullptr ? nullptr : element->find_setting(key.substr(slash + 1));
}

std::vector<std::string> Schema::keys() const {
  std::vector<std::string> keys;
  for (auto const &[element_path, element] : elements) {
    for (DeclaredSetting const &setting : element.settings) {
      keys.push_back(element_path + "/" + setting.name);
    }
  }
  return keys;
}

std::string find_schema(std::string const &settings_file, std::string const &root_name) {
  if (root_name != "UserConfig") {
    return "";
  }
  std::string const name = "user-config.xsd";
  std::size_t const slash = settings_file.find_last_of('/');
  std::string beside =
      slash == settings_file.npos ? name : settings_file.substr(0, slash + 1) + name;
  if (status_of(beside).exists) { // read_schema reports one that cannot be read
    return beside;
  }
  std::string search_path, found;
  Platform::get_system_property(Platform::CONFIG_PATH, &search_path);
  if (Platform::find_file(search_path, name.c_str(), &found) != RESULT_SUCCESS) {
    return "";
  }
  return Platform::native_path(found.c_str());
}

std::optional<Schema> read_schema(std::string const &path, std::vector<Finding> *findings) {
  std::optional<SettingsFile> file = read_schema_file(path, findings);
  if (!file) {
    findings->back().instead += ", or remove the schema";
    return std::nullopt;
  }
  SchemaErrors errors{path, {}};
  std::unique_ptr<xmlSchemaParserCtxt, FreeSchema> const parser(
      xmlSchemaNewParserCtxt(path.c_str()));
  xmlSetExternalEntityLoader(xmlNoNetExternalEntityLoader); // for schemas that it includes
  xmlSetStructuredErrorFunc(&errors, SchemaErrors::record);
  xmlSchemaSetParserStructuredErrors(parser.get(), SchemaErrors::record, &errors);
  std::shared_ptr<xmlSchema> parsed(xmlSchemaParse(parser.get()), xmlSchemaFree);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  std::set<std::string> known = {path};
  add_included(&file->root, path, &known);
  Schema schema{path, std::move(parsed), Model(file->root).read()};
  if (schema.parsed != nullptr && !schema.elements.empty()) {
    return schema;
  }
  auto const near = std::find_if(
      file->root.elements.begin(), file->root.elements.end(), [](Element const &declared) {
        return is_misspelling(attribute_of(declared, "name"), "UserConfig");
      });
  errors.add(path, near == file->root.elements.end() ? file->root.line : near->line,
             "it declares no element UserConfig without a namespace");
  findings->push_back(errors.found.front()); // the others may be its consequence
  return std::nullopt;
}

std::vector<SchemaFault> validate(SettingsFile const &file, Schema const &schema) {
  std::unique_ptr<xmlSchemaValidCtxt, FreeSchema> const validation(
      xmlSchemaNewValidCtxt(schema.parsed.get()));
  std::vector<SchemaFault> faults;
  xmlSchemaSetValidStructuredErrors(validation.get(), record_fault, &faults);
  xmlSchemaValidateDoc(validation.get(), file.document.get());
  return faults;
}

} // namespace Ostrel::Tool
