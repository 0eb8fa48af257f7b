// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/xml/ParserLimits.hpp"

#include "core/base/config/xml/XmlLibrary.hpp"

#include <libxml/hash.h>
#include <libxml/parserInternals.h>
#include <libxml/valid.h>

#include <algorithm>
#include <new>
#include <string>

// The parser has no limits of its own on most of this, so the checks read fields of its context.
// The meaning of each field was checked against libxml2 2.9.14.
namespace Ostrel {

namespace {

constexpr unsigned long long LEAST_EXPANSION = 1000000;   // bytes, allowed in every file
constexpr unsigned long long EXPANSION_TO_FILE_SIZE = 10; // a multiple of the size of the file
constexpr unsigned long long WEIGHT_OF_NODE = 25;         // bytes; in memory it has 100 to 200
constexpr int MAX_ENTITY_NESTING = 40;                    // the parser's own limit
constexpr int MAX_DECLARATION_BYTES = 32 * 1024;          // without the texts of entities
// The parser's own entries in its table of names, and those of texts of many blanks.
// XML_PARSE_COMPACT keeps other short texts out of it.
constexpr int PARSER_WORDS = 100;

xmlParserCtxt &parser_of(void *context) {
  return *static_cast<xmlParserCtxt *>(context);
}

ParserLimits &limits_of(void *context) {
  return *static_cast<ParserLimits *>(parser_of(context)._private);
}

// The size of an entity's text, plus WEIGHT_OF_NODE for each tag ('<') and, in a text with tags,
// for each named value ('=').
unsigned long long weight_of(std::string_view text) {
  bool const has_elements = text.find('<') != text.npos;
  auto const becomes_node = [](char c) { return c == '<' || c == '='; };
  auto const nodes = has_elements ? std::count_if(text.begin(), text.end(), becomes_node) : 0;
  return text.size() + static_cast<unsigned long long>(nodes) * WEIGHT_OF_NODE;
}

// Elements from entities can nest deeper than the parser accepts.
bool is_too_deep(XmlDocument const &document) {
  for (xmlNode *node = document.root(); node != nullptr; node = next_in_file(node)) {
    if (is_element(*node) && node->children == nullptr && depth_of(node) > MAX_DEPTH) {
      return true;
    }
  }
  return false;
}

// --- Entities ---------------------------------------------------------------------------------

xmlEntity *get_entity(void *context, xmlChar const *name) noexcept try {
  xmlParserCtxt &parser = parser_of(context);
  xmlEntity *const entity = xmlSAX2GetEntity(context, name);
  // The parser also looks up an entity that it has just declared, which has no `orig` yet.
  bool const is_expanded = entity != nullptr && entity->orig != nullptr;
  if (!is_expanded) {
    return entity;
  }
  // In declarations the parser expands every reference separately, also inner ones. In the content
  // it parses an entity once and copies the result, so only the outermost reference is counted.
  bool const is_declaration = parser.inSubset != 0;
  if (!is_declaration && parser.depth > 0) {
    return entity;
  }
  ParserLimits &limits = limits_of(context);
  unsigned long long const bytes = is_declaration ? static_cast<unsigned long long>(entity->length)
                                                  : limits.expanded_size(entity);
  return limits.expand(parser, bytes) ? entity : nullptr; // null: a stopped parser still expands
} catch (std::bad_alloc const &) {
  limits_of(context).stop_without_memory(parser_of(context));
  return nullptr;
}

void declare_entity(void *context, xmlChar const *name, int type, xmlChar const *public_id,
                    xmlChar const *system_id, xmlChar *content) noexcept {
  if (type != XML_INTERNAL_GENERAL_ENTITY) {
    limits_of(context).refuse(parser_of(context),
                              "it declares an external entity or a parameter entity");
    return;
  }
  xmlSAX2EntityDecl(context, name, type, public_id, system_id, content);
  // The parser does not report a lack of memory here.
  if (xmlGetDocEntity(parser_of(context).myDoc, name) == nullptr) {
    limits_of(context).stop_without_memory(parser_of(context));
  }
}

void declare_unparsed_entity(void *context, xmlChar const *, xmlChar const *, xmlChar const *,
                             xmlChar const *) noexcept {
  limits_of(context).refuse(parser_of(context),
                            "it declares an external entity or a parameter entity");
}

// --- Texts that a save would not escape -------------------------------------------------------

// Escapes the special characters of a text that the XML library would write unescaped. Null for
// null and without memory.
XmlText escaped(xmlDoc *document, xmlChar const *text) {
  XmlBuffer const buffer(text == nullptr ? nullptr : xmlBufferCreate());
  if (buffer == nullptr) {
    return nullptr;
  }
  xmlAttrSerializeTxtContent(buffer.get(), document, nullptr, text);
  return XmlText(xmlStrdup(xmlBufferContent(buffer.get()))); // the buffer itself has 4 KB
}

// Declarations are kept only for a save; defaults are not applied. A default that does not fit its
// type is dropped: the XML library would write a declaration that does not parse.
void declare_attribute(void *context, xmlChar const *element, xmlChar const *name, int type,
                       int kind, xmlChar const *default_text, xmlEnumeration *choices) noexcept {
  bool const fits =
      default_text == nullptr ||
      xmlValidateAttributeValue(static_cast<xmlAttributeType>(type), default_text) != 0;
  xmlChar const *text = fits ? default_text : nullptr;
  // Names and numbers, the other types, need no escaping.
  bool const is_text = type == XML_ATTRIBUTE_CDATA;
  XmlText const written = escaped(parser_of(context).myDoc, is_text ? text : nullptr);
  xmlSAX2AttributeDecl(context, element, name, type, fits ? kind : XML_ATTRIBUTE_IMPLIED,
                       is_text ? written.get() : text, choices);
}

// The number of lines from the start of a tag to the parser's position. A tag contains no other
// '<'; the parser keeps a whole tag in its buffer.
int lines_in_tag(xmlParserInput const &input) {
  int lines = 0;
  for (xmlChar const *at = input.cur; at > input.base && at[-1] != '<'; --at) {
    lines += at[-1] == '\n' ? 1 : 0;
  }
  return lines;
}

// The parser sets the line of the end of the tag, and in the text of an entity counts from its
// beginning.
void correct_line(xmlParserCtxt const &parser) {
  bool const has_entities = parser.myDoc != nullptr && parser.myDoc->intSubset != nullptr &&
                            parser.myDoc->intSubset->entities != nullptr;
  constexpr int UNKNOWN = 0, LARGEST = 65534;
  int const line = parser.input->line - lines_in_tag(*parser.input);
  parser.node->line = static_cast<unsigned short>(has_entities || line > LARGEST ? UNKNOWN : line);
}

void start_element(void *context, xmlChar const *name, xmlChar const *prefix, xmlChar const *uri,
                   int namespace_count, xmlChar const **namespaces, int attribute_count,
                   int defaulted_count, xmlChar const **attributes) noexcept {
  xmlSAX2StartElementNs(context, name, prefix, uri, namespace_count, namespaces, attribute_count,
                        defaulted_count, attributes);
  xmlParserCtxt const &parser = parser_of(context);
  if (parser.node == nullptr) { // without memory
    return;
  }
  correct_line(parser);
  xmlNs *declared = parser.node->nsDef;
  for (; declared != nullptr; declared = declared->next) {
    if (XmlText text = escaped(parser.myDoc, declared->href); text != nullptr) {
      xmlFree(const_cast<xmlChar *>(declared->href));
      declared->href = text.release();
    }
  }
}

// --- The rest ---------------------------------------------------------------------------------

// Called after the internal subset, where an external one would be read. Drops the declarations of
// attributes: some types would change stored texts, and defaults cost time at every element.
void end_declarations(void *context, xmlChar const *, xmlChar const *, xmlChar const *) noexcept {
  xmlParserCtxt &parser = parser_of(context);
  xmlHashFree(parser.attsDefault, xmlHashDefaultDeallocator);
  xmlHashFree(parser.attsSpecial, nullptr);
  parser.attsDefault = nullptr;
  parser.attsSpecial = nullptr;
}

void add_text(void *context, xmlChar const *text, int size) noexcept {
  xmlParserCtxt &parser = parser_of(context);
  // The parser would report a text that is too long as a lack of memory.
  bool const goes_on = parser.nodemem != 0 && parser.node != nullptr &&
                       parser.node->last != nullptr && parser.node->last->type == XML_TEXT_NODE;
  if (goes_on && parser.nodelen > static_cast<int>(MAX_TEXT_BYTES) - size) {
    limits_of(context).refuse(parser, "a text is too long");
    return;
  }
  xmlSAX2Characters(context, text, size);
}

} // namespace

ParserLimits::ParserLimits(xmlParserCtxt &parser, unsigned long long file_size) noexcept
    : parser_(parser), allowance_(std::max(LEAST_EXPANSION, file_size * EXPANSION_TO_FILE_SIZE)) {
  parser.keepBlanks = 1; // the host may have set it otherwise for this thread
  parser._private = this;
  xmlSAXHandler &callbacks = *parser.sax;
  callbacks.getEntity = get_entity;
  callbacks.entityDecl = declare_entity;
  callbacks.unparsedEntityDecl = declare_unparsed_entity;
  callbacks.attributeDecl = declare_attribute;
  callbacks.externalSubset = end_declarations;
  callbacks.startElementNs = start_element;
  callbacks.characters = add_text;
  callbacks.ignorableWhitespace = add_text;
}

char const *ParserLimits::find_excess(int more_bytes) noexcept {
  constexpr int FIELDS = 5; // of an attribute, in a table of at most twice the size needed
  if (parser_.maxatts / FIELDS > 2 * MAX_NAMED_VALUES) {
    return "a key has too many named values";
  }
  if (parser_.nsNr / 2 > MAX_NAMESPACES) { // prefix and URI
    return "it has too many namespaces";
  }
  if (xmlDictSize(parser_.dict) > MAX_NAMES + PARSER_WORDS) {
    return "it has too many different names";
  }
  if (parser_.instate == XML_PARSER_DTD) {
    declaration_bytes_ += more_bytes;
  }
  return declaration_bytes_ > MAX_DECLARATION_BYTES ? "it has too many declarations" : nullptr;
}

bool ParserLimits::allows(int more_bytes) noexcept {
  if (refusal_ == nullptr) {
    refusal_ = find_excess(more_bytes);
  }
  return refusal_ == nullptr;
}

bool ParserLimits::allows(XmlDocument const &document) noexcept {
  if (allows(0) && expanded_ > 0 && is_too_deep(document)) {
    refusal_ = "its entities nest too deep";
  }
  return refusal_ == nullptr;
}

void ParserLimits::refuse(xmlParserCtxt &parser, char const *reason) noexcept {
  refusal_ = reason;
  xmlStopParser(&parser);
}

void ParserLimits::stop_without_memory(xmlParserCtxt &parser) noexcept {
  lacked_memory_ = true;
  xmlStopParser(&parser);
}

bool ParserLimits::expand(xmlParserCtxt &parser, unsigned long long bytes) noexcept {
  if (bytes > allowance_ - expanded_) {
    refuse(parser, "its entities expand to too much");
    return false;
  }
  expanded_ += bytes;
  return true;
}

unsigned long long ParserLimits::expanded_size(xmlEntity *entity, int nesting) {
  if (nesting > MAX_ENTITY_NESTING) {
    return allowance_ + 1;
  }
  // An entity that contains itself counts as 0 inside; the parser reports the loop.
  auto const [known, is_new] = expanded_sizes_.emplace(entity, 0);
  if (!is_new) {
    return known->second;
  }
  std::string_view const content = as_text(entity->content);
  unsigned long long bytes = weight_of(content);
  for (std::size_t at = content.find('&'); at != content.npos; at = content.find('&', at + 1)) {
    std::string const name(content.substr(at + 1, content.find(';', at) - at - 1));
    xmlEntity *const inner = xmlGetDocEntity(parser_.myDoc, as_xml(name.c_str()));
    if (inner != nullptr && inner->etype == XML_INTERNAL_GENERAL_ENTITY && bytes <= allowance_) {
      bytes += expanded_size(inner, nesting + 1);
    }
  }
  return expanded_sizes_[entity] = bytes;
}

} // namespace Ostrel
