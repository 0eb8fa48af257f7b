// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/xml/Reader.hpp"

#include "core/base/config/xml/ParserLimits.hpp"
#include "core/base/config/xml/XmlLibrary.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/SystemErrorText.hpp"

#include <cstring>
#include <functional>
#include <new>
#include <optional>
#include <utility>

namespace Ostrel {

namespace {

// Called once at load, before a thread can use the parser. Never cleaned up: the host may use the
// XML library as well.
bool initialise_parser() noexcept {
  xmlInitParser();
  return true;
}

[[maybe_unused]] bool const parser_is_ready = initialise_parser();

// Reads up to `size` bytes; 0 at the end, -1 on failure.
using ReadBytes = std::function<int(char *buffer, int size)>;

struct LimitedInput {
  ReadBytes const &read_bytes;
  ParserLimits &limits;
};

// Ends the parse by a failing input: xmlStopParser would free the buffer that the parser fills.
int read_within_limits(void *context, char *buffer, int size) noexcept {
  auto const &input = *static_cast<LimitedInput *>(context);
  int const count = input.read_bytes(buffer, size);
  return input.limits.allows(count) ? count : -1;
}

// --- Layout -----------------------------------------------------------------------------------

bool is_more_than_blanks(xmlNode const &node) {
  char const *const text = as_text(node.content);
  return node.type == XML_CDATA_SECTION_NODE ||
         (node.type == XML_TEXT_NODE && text[std::strspn(text, " \t\r\n")] != '\0');
}

// Frees the text nodes, all blank, from `first` up to `end`, which is kept.
void remove_blanks(xmlNode *first, xmlNode const *end) {
  while (first != end) {
    xmlNode *const next = first->next;
    if (first->type == XML_TEXT_NODE) {
      xmlUnlinkNode(first);
      xmlFreeNode(first);
    }
    first = next;
  }
}

// Comments and instructions between two tags do not separate texts.
void remove_layout(xmlNode const &element) {
  if (element.children == nullptr || element.children->next == nullptr) {
    return;
  }
  for (xmlNode *node = element.children; node != nullptr;) {
    xmlNode *const first = node;
    bool has_text = false;
    for (; node != nullptr && !is_element(*node); node = node->next) {
      has_text = has_text || is_more_than_blanks(*node);
    }
    if (!has_text) {
      remove_blanks(first, node);
    }
    node = node == nullptr ? nullptr : node->next;
  }
}

// Removes the layout of a file: blank text between two tags. XML_PARSE_NOBLANKS would not do: its
// result depends on the parser's buffer and on the first node of an element.
void remove_layout(XmlDocument const &document) {
  for (xmlNode *node = document.root(); node != nullptr; node = next_in_file(node)) {
    if (is_element(*node)) {
      remove_layout(*node);
    }
  }
}

// --- Reading ----------------------------------------------------------------------------------

XmlReading failed(unsigned long result, char const *fault) {
  XmlReading reading;
  reading.result = result;
  reading.fault = fault;
  return reading;
}

XmlReading parse(unsigned long long size, ReadBytes const &read_bytes) {
  ErrorTrap const errors;
  XmlParser const parser(xmlNewParserCtxt());
  if (parser == nullptr) {
    throw std::bad_alloc();
  }
  ParserLimits limits(*parser, size);
  LimitedInput input = {read_bytes, limits};
  XmlDocument document(xmlCtxtReadIO(parser.get(), read_within_limits, nullptr, &input, nullptr,
                                     nullptr,
                                     XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_COMPACT));
  bool const lacked_memory = errors.lacked_memory() || limits.lacked_memory();
  if (lacked_memory && limits.refusal() == nullptr) {
    throw std::bad_alloc();
  }
  if (!document || !limits.allows(document)) {
    bool const is_refused = limits.refusal() != nullptr;
    return failed(RESULT_FAILURE, is_refused ? limits.refusal() : errors.message());
  }
  remove_layout(document);
  XmlReading reading;
  reading.document = std::move(document);
  return reading;
}

} // namespace

XmlReading read_xml_file(char const *path) {
  File file;
  if (unsigned long const result = file.open_for_reading(path); result != RESULT_SUCCESS) {
    SystemErrorText const reason;
    if (result == RESULT_OUT_OF_MEMORY) {
      throw std::bad_alloc();
    }
    return failed(RESULT_SYSTEM_ERROR, reason.c_str());
  }
  FileIdentity identity; // before the contents: a later change then shows
  file.get_identity(&identity);
  std::optional<SystemErrorText> failure;
  auto const read_bytes = [&file, &failure](char *buffer, int size) {
    std::size_t count = 0;
    if (!file.read(buffer, static_cast<std::size_t>(size), &count)) {
      failure.emplace();
      return -1;
    }
    return static_cast<int>(count);
  };
  XmlReading reading = parse(file.size(), read_bytes);
  reading.identity = identity;
  if (failure) {
    return failed(RESULT_SYSTEM_ERROR, failure->c_str());
  }
  return reading;
}

XmlReading read_xml_text(std::string_view text) {
  auto const read_bytes = [&text](char *buffer, int size) {
    std::size_t const count = text.copy(buffer, static_cast<std::size_t>(size));
    text.remove_prefix(count);
    return static_cast<int>(count);
  };
  return parse(text.size(), read_bytes);
}

} // namespace Ostrel
