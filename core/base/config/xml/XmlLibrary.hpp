// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <array>
#include <memory>

// What the sources of this folder need of libxml2. Internal to the folder.
namespace Ostrel {

template <auto FREE> struct XmlFree {
  template <class Object> void operator()(Object *object) const noexcept { FREE(object); }
};

struct XmlFreeText {
  void operator()(xmlChar *text) const noexcept { xmlFree(text); } // a variable of libxml2
};

using XmlText = std::unique_ptr<xmlChar, XmlFreeText>;
using XmlBuffer = std::unique_ptr<xmlBuffer, XmlFree<xmlBufferFree>>;
using XmlParser = std::unique_ptr<xmlParserCtxt, XmlFree<xmlFreeParserCtxt>>;
using XmlNewNode = std::unique_ptr<xmlNode, XmlFree<xmlFreeNode>>; // not yet part of a document

inline xmlChar const *as_xml(char const *text) {
  return reinterpret_cast<xmlChar const *>(text);
}

// Null becomes the empty text.
inline char const *as_text(xmlChar const *text) {
  return text == nullptr ? "" : reinterpret_cast<char const *>(text);
}

inline bool is_element(xmlNode const &node) {
  return node.type == XML_ELEMENT_NODE;
}

// The node after this one in the order of the file; null after the last.
inline xmlNode *next_in_file(xmlNode *node) {
  if (is_element(*node) && node->children != nullptr) {
    return node->children;
  }
  while (node != nullptr && node->next == nullptr) {
    node = node->parent;
  }
  return node == nullptr ? nullptr : node->next;
}

// How many elements are open at an element, itself included: 1 at the root.
inline int depth_of(xmlNode const *element) {
  int depth = 0;
  for (; element != nullptr && is_element(*element); element = element->parent) {
    ++depth;
  }
  return depth;
}

/// Keeps the errors of the XML library in the calling thread, which would go to standard error, and
/// restores the host's own handler at the end. Set for the whole thread: errors of character
/// decoding reach no handler of a parser. Internal to the library.
class ErrorTrap {
public:
  ErrorTrap() noexcept;
  ErrorTrap(ErrorTrap const &) = delete;
  ErrorTrap &operator=(ErrorTrap const &) = delete;
  ~ErrorTrap();

  /// The first fatal error with its place, or for none the first error; empty without any.
  char const *message() const noexcept { return message_.data(); }

  /// Whether something is missing for lack of memory, not because the input is malformed. (The XML
  /// library also reports a lack of memory for a named value that is too long, after its fault.)
  bool lacked_memory() const noexcept { return lacked_memory_; }

private:
  static void record(void *context, xmlError *error) noexcept;

  static constexpr unsigned int MESSAGE_SIZE = 512; // bytes; longer messages are cut

  xmlStructuredErrorFunc host_handler_;
  void *host_context_;
  bool lacked_memory_ = false;
  bool is_malformed_ = false;
  std::array<char, MESSAGE_SIZE> message_ = {};
};

} // namespace Ostrel
