// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/TextRules.hpp"

#include <memory>
#include <string>

struct _xmlDoc; // the XML library's document and node
struct _xmlNode;

namespace Ostrel {

/// A node of a document: an element (a key), an attribute (a named value), a text, a comment or a
/// processing instruction. Opaque outside this folder. Internal to the library.
using XmlNode = _xmlNode;

/// Owns a document of the XML library; empty by default. Internal to the library.
class XmlDocument {
public:
  XmlDocument() = default;
  /// @param document  handed over; may be null.
  explicit XmlDocument(_xmlDoc *document) noexcept : document_(document) {}

  /// Creates a document without a root element; empty without memory.
  static XmlDocument create() noexcept;

  explicit operator bool() const noexcept { return document_ != nullptr; }
  _xmlDoc *get() const noexcept { return document_.get(); }

  /// The root element; null for none.
  XmlNode *root() const noexcept;

private:
  struct Free {
    void operator()(_xmlDoc *document) const noexcept;
  };

  std::unique_ptr<_xmlDoc, Free> document_;
};

/// The node of a handle of a source.
inline XmlNode *node_of(void const *handle) {
  return static_cast<XmlNode *>(const_cast<void *>(handle)); // the document is the source's own
}

/// The node of a key's handle; null for null and for a node of another kind.
XmlNode *key_of(void const *handle) noexcept;

/// Borrowed from the node; null for a node without a name.
char const *name_of(XmlNode const &node) noexcept;

/// Reads the name of a key. Returns the key; null for null and for a node without a name. Throws
/// std::bad_alloc without memory.
XmlNode *read_key(XmlNode *key, std::string *name);

/// Reads the name and the text of a value; the text value, which is the key itself, has the empty
/// name. Returns the value; null for null. Throws std::bad_alloc without memory, with the name
/// unchanged.
XmlNode *read_value(XmlNode *value, std::string *name, std::string *text);

/// Reads all text inside a node, or that of a text, a comment or an instruction. Throws
/// std::bad_alloc without memory.
void read_text(XmlNode const &node, std::string *text);

bool contains(XmlDocument const &document, XmlNode const &node) noexcept;

/// The line of a key's tag in its file, or that of the key of a value; 0 if it is unknown.
long line_of(XmlNode const &node) noexcept;

// --- Walking: null for none -------------------------------------------------------------------

XmlNode *first_sub_key(XmlNode const &key) noexcept;
XmlNode *next_key(XmlNode const &key) noexcept;

/// The next named value; for a key, its first.
XmlNode *next_named_value(XmlNode const &value) noexcept;

XmlNode *find_named_value(XmlNode const &key, char const *name) noexcept;

/// The `*index`-th child of that name, from 0, of any kind.
/// @param index  reduced by the number of children of that name that were skipped.
XmlNode *find_child(XmlNode const &node, char const *name, int *index) noexcept;

// --- Editing ----------------------------------------------------------------------------------

/// Adds the root element of a new document; false without memory. The name must have no fault.
bool add_root(XmlDocument &document, char const *name) noexcept;

/// Why a key cannot have a sub-key of that name; null for no fault. Both throw std::bad_alloc
/// without memory.
XmlFault find_sub_key_fault(XmlNode &key, char const *name);

/// Why a key cannot have that value; null for no fault. A null name means the text value.
XmlFault find_value_fault(XmlNode &key, char const *name, char const *text);

/// Appends a sub-key; null without memory. There must be no fault.
XmlNode *add_sub_key(XmlNode &key, char const *name) noexcept;

/// Sets a value; false, with nothing changed, without memory. There must be no fault.
bool store_value(XmlNode &key, char const *name, char const *text) noexcept;

void remove_key(XmlNode &key) noexcept;

/// False if the node is not a named value.
bool remove_named_value(XmlNode &value) noexcept;

} // namespace Ostrel
