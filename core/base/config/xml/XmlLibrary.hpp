// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <array>
#include <memory>

// Owners and helpers for objects of libxml2. Internal to the folder.
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

// The next node in document order; null after the last.
inline xmlNode *next_in_file(xmlNode *node) {
  if (is_element(*node) && node->children != nullptr) {
    return node->children;
  }
  while (node != nullptr && node->next == nullptr) {
    node = node->parent;
  }
  return node == nullptr ? nullptr : node->next;
}

// The nesting depth of an element: 1 for the root.
inline int depth_of(xmlNode const *element) {
  int depth = 0;
  for (; element != nullptr && is_element(*element); element = element->parent) {
    ++depth;
  }
  return depth;
}

/// Records the errors of the XML library in the calling thread, which would otherwise go to
/// standard error, and restores the host's handler at the end. Set for the whole thread, because a
/// parser's own handler does not receive errors of character decoding. Internal to the library.
class ErrorTrap {
public:
  ErrorTrap() noexcept;
  ErrorTrap(ErrorTrap const &) = delete;
  ErrorTrap &operator=(ErrorTrap const &) = delete;
  ~ErrorTrap();

  /// The first fatal error with its line and column, else the first error, else empty.
  char const *message() const noexcept { return message_.data(); }

  /// Whether memory was lacking before any fault of the input. (After the fault of a named value
  /// that is too long, the XML library reports a lack of memory as well.)
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
