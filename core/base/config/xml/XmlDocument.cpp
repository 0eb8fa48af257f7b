// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/xml/XmlDocument.hpp"

#include "core/base/config/xml/ParserLimits.hpp"
#include "core/base/config/xml/XmlLibrary.hpp"

#include <cstring>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

// libxml2 allows casts between attributes and nodes.
xmlNode *as_node(xmlAttr *attribute) {
  return reinterpret_cast<xmlNode *>(attribute);
}

xmlAttr &as_attribute(xmlNode &node) {
  return reinterpret_cast<xmlAttr &>(node);
}

bool is_named_value(xmlNode const &node) {
  return node.type == XML_ATTRIBUTE_NODE;
}

bool has_name(xmlNode const &node, char const *name) {
  return node.name != nullptr && std::strcmp(as_text(node.name), name) == 0;
}

xmlNode *first_key_from(xmlNode *node) {
  while (node != nullptr && !is_element(*node)) {
    node = node->next;
  }
  return node;
}

int count_named_values(xmlNode const &key) {
  int count = 0;
  for (xmlAttr const *value = key.properties; value != nullptr; value = value->next) {
    ++count;
  }
  return count;
}

// Why a new key or named value at `key` cannot have that name; null for no fault.
XmlFault find_new_name_fault(xmlNode &key, char const *name) {
  if (XmlFault const fault = find_name_fault(name); fault != nullptr) {
    return fault;
  }
  if (char const *const colon = std::strchr(name, ':'); colon != nullptr) {
    std::string const prefix(name, colon);
    if (xmlSearchNs(key.doc, &key, as_xml(prefix.c_str())) != nullptr) {
      return "the file declares its prefix, and a load would take that off";
    }
  }
  xmlDict *const names = key.doc->dict;
  bool const is_known = xmlDictExists(names, as_xml(name), -1) != nullptr;
  return is_known || xmlDictSize(names) < MAX_NAMES ? nullptr
                                                    : "the file has too many different names";
}

// Replaces all contents of a node by a text. The XML library's own function would expand references
// to entities in it.
bool replace_content(xmlNode &node, char const *text) {
  XmlNewNode content;
  if (*text != '\0') {
    content.reset(xmlNewDocText(node.doc, as_xml(text)));
    if (content == nullptr || content->content == nullptr) {
      return false;
    }
    content->parent = &node;
  }
  xmlFreeNodeList(node.children);
  node.children = node.last = content.release();
  return true;
}

bool add_named_value(xmlNode &key, char const *name, char const *text) {
  xmlAttr *const created = xmlNewNsProp(&key, nullptr, as_xml(name), nullptr);
  if (created == nullptr) {
    return false;
  }
  if (created->name == nullptr || !replace_content(*as_node(created), text)) {
    xmlRemoveProp(created);
    return false;
  }
  return true;
}

} // namespace

void XmlDocument::Free::operator()(xmlDoc *document) const noexcept {
  xmlFreeDoc(document);
}

XmlDocument XmlDocument::create() noexcept {
  ErrorTrap const errors;
  XmlDocument created(xmlNewDoc(as_xml("1.0")));
  if (created) {
    created.get()->dict = xmlDictCreate(); // for the names, as in a parsed document
  }
  return created && created.get()->dict != nullptr ? std::move(created) : XmlDocument();
}

XmlNode *XmlDocument::root() const noexcept {
  return xmlDocGetRootElement(get()); // null for no document
}

// --- Nodes ------------------------------------------------------------------------------------

XmlNode *key_of(void const *handle) noexcept {
  XmlNode *const node = node_of(handle);
  return node != nullptr && is_element(*node) ? node : nullptr;
}

char const *name_of(XmlNode const &node) noexcept {
  return reinterpret_cast<char const *>(node.name);
}

XmlNode *read_key(XmlNode *key, std::string *name) {
  if (key == nullptr || key->name == nullptr) {
    return nullptr;
  }
  *name = name_of(*key);
  return key;
}

XmlNode *read_value(XmlNode *value, std::string *name, std::string *text) {
  if (value == nullptr) {
    return nullptr;
  }
  std::string value_name = is_named_value(*value) ? name_of(*value) : "";
  read_text(*value, text);
  *name = std::move(value_name);
  return value;
}

void read_text(XmlNode const &node, std::string *text) {
  xmlNode const *const first = node.children;
  bool const has_text_in_children = is_element(node) || is_named_value(node);
  if (first == nullptr && (has_text_in_children || node.content == nullptr)) {
    text->clear();
    return;
  }
  bool const is_one_text =
      first != nullptr && first->type == XML_TEXT_NODE && first->next == nullptr;
  if (is_one_text) { // the usual case: saves a copy
    *text = as_text(first->content);
    return;
  }
  XmlText const content(xmlNodeGetContent(&node));
  if (content == nullptr) {
    throw std::bad_alloc();
  }
  *text = as_text(content.get());
}

bool contains(XmlDocument const &document, XmlNode const &node) noexcept {
  return node.doc == document.get();
}

long line_of(XmlNode const &node) noexcept {
  XmlNode const *const key = is_element(node) ? &node : node.parent;
  return key != nullptr && is_element(*key) ? key->line : 0;
}

XmlNode *first_sub_key(XmlNode const &key) noexcept {
  return first_key_from(key.children);
}

XmlNode *next_key(XmlNode const &key) noexcept {
  return first_key_from(key.next);
}

XmlNode *next_named_value(XmlNode const &value) noexcept {
  if (is_element(value)) {
    return as_node(value.properties);
  }
  return is_named_value(value) ? value.next : nullptr;
}

XmlNode *find_named_value(XmlNode const &key, char const *name) noexcept {
  xmlNode *value = as_node(key.properties);
  while (value != nullptr && !has_name(*value, name)) {
    value = value->next;
  }
  return value;
}

XmlNode *find_child(XmlNode const &node, char const *name, int *index) noexcept {
  xmlNode *child = is_element(node) ? node.children : nullptr;
  for (; child != nullptr; child = child->next) {
    if (has_name(*child, name) && (*index)-- == 0) {
      break;
    }
  }
  return child;
}

bool add_root(XmlDocument &document, char const *name) noexcept {
  ErrorTrap const errors;
  XmlNewNode root(xmlNewDocNode(document.get(), nullptr, as_xml(name), nullptr));
  if (root == nullptr) {
    return false;
  }
  xmlDocSetRootElement(document.get(), root.release());
  return true;
}

XmlFault find_sub_key_fault(XmlNode &key, char const *name) {
  return depth_of(&key) >= MAX_DEPTH ? "it would lie too deep" : find_new_name_fault(key, name);
}

XmlFault find_value_fault(XmlNode &key, char const *name, char const *text) {
  if (XmlFault const fault = find_text_fault(text); fault != nullptr) {
    return fault;
  }
  if (name == nullptr || find_named_value(key, name) != nullptr) {
    return nullptr;
  }
  return count_named_values(key) >= MAX_NAMED_VALUES ? "the key has too many named values"
                                                     : find_new_name_fault(key, name);
}

XmlNode *add_sub_key(XmlNode &key, char const *name) noexcept {
  ErrorTrap const errors;
  XmlNewNode created(xmlNewDocNode(key.doc, nullptr, as_xml(name), nullptr));
  if (created == nullptr || xmlAddChild(&key, created.get()) == nullptr) {
    return nullptr;
  }
  return created.release();
}

bool store_value(XmlNode &key, char const *name, char const *text) noexcept {
  ErrorTrap const errors;
  if (name == nullptr) {
    return replace_content(key, text);
  }
  xmlNode *const value = find_named_value(key, name);
  if (value == nullptr) {
    return add_named_value(key, name, text);
  }
  if (xmlAttr &attribute = as_attribute(*value); attribute.atype == XML_ATTRIBUTE_ID) {
    xmlRemoveID(attribute.doc, &attribute); // the table of identifiers refers to the old text
  }
  return replace_content(*value, text);
}

void remove_key(XmlNode &key) noexcept {
  xmlUnlinkNode(&key);
  xmlFreeNode(&key);
}

bool remove_named_value(XmlNode &value) noexcept {
  return is_named_value(value) && xmlRemoveProp(&as_attribute(value)) == 0;
}

} // namespace Ostrel
