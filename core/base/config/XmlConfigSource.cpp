// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/XmlConfigSource.hpp"

#include "core/base/config/KeyIndex.hpp"
#include "core/base/config/KeyPath.hpp"
#include "core/base/config/SourceLock.hpp"
#include "core/base/config/XmlText.hpp"
#include "core/base/foundation/ClassMark.hpp"
#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/SystemProperty.hpp"

#include <libxml/hash.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/valid.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace Ostrel {

namespace {

constexpr char CATEGORY_NAME[] = "Ostrel.Core.Base.XmlConfigSource";

ClassCategory category(CATEGORY_NAME);

// Once, before any thread of the host can be in the parser. It is never cleaned up: the host may
// use the XML library as well.
bool initialise_parser() noexcept {
  xmlInitParser();
  return true;
}

[[maybe_unused]] bool const parser_is_ready = initialise_parser();

// The lock of an operation that does nothing without it.
class LoggedSourceLock : public SourceLock {
public:
  LoggedSourceLock() {
    if (!*this) {
      LoggingCategory::get_instance(CATEGORY_NAME).warn("Could not obtain mutex lock");
    }
  }
};

// --- XML resources ----------------------------------------------------------------------------

struct FreeXmlText {
  void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};
using XmlString = std::unique_ptr<xmlChar, FreeXmlText>;

struct FreeNode {
  void operator()(xmlNode *node) const noexcept { xmlFreeNode(node); }
};
using NewNode = std::unique_ptr<xmlNode, FreeNode>; // not yet part of a document

struct FreeParser {
  void operator()(xmlParserCtxt *parser) const noexcept { xmlFreeParserCtxt(parser); }
};
using Parser = std::unique_ptr<xmlParserCtxt, FreeParser>;

struct FreeBuffer {
  void operator()(xmlBuffer *buffer) const noexcept { xmlBufferFree(buffer); }
};
using Buffer = std::unique_ptr<xmlBuffer, FreeBuffer>;

using Document = std::unique_ptr<xmlDoc, FreeXmlDocument>;

struct Serialized {
  std::string_view view() const {
    return {reinterpret_cast<char const *>(text.get()), static_cast<std::size_t>(size)};
  }

  XmlString text;
  int size = 0;
};

xmlChar const *xml(char const *text) {
  return reinterpret_cast<xmlChar const *>(text);
}

char const *plain(xmlChar const *text) {
  return text == nullptr ? "" : reinterpret_cast<char const *>(text);
}

xmlNode *as_node(void const *handle) {
  return static_cast<xmlNode *>(const_cast<void *>(handle)); // the parser's tree knows no const
}

bool is_attribute(xmlNode const *node) {
  return node->type == XML_ATTRIBUTE_NODE;
}

bool is_element(xmlNode const *node) {
  return node->type == XML_ELEMENT_NODE;
}

constexpr unsigned int FAULT_TEXT_SIZE = 512;
using FaultText = std::array<char, FAULT_TEXT_SIZE>;

// Keeps what the XML library has to say, which without this goes to standard error, and puts the
// host's own handler back at the end. Errors of character decoding reach no narrower handler.
class ErrorTrap {
public:
  ErrorTrap() : handler_(xmlStructuredError), context_(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(this, &ErrorTrap::record);
  }
  ErrorTrap(ErrorTrap const &) = delete;
  ErrorTrap &operator=(ErrorTrap const &) = delete;
  ~ErrorTrap() { xmlSetStructuredErrorFunc(context_, handler_); }

  // The first message, with its place; empty when there was none.
  char const *first() const { return first_.data(); }

  // Whether something is missing for which there was no memory. What is malformed would be missing
  // with it as well; and the library says so of a named value that is too long.
  bool lacked_memory() const { return lacked_memory_; }

private:
  static void record(void *context, xmlError *error) noexcept {
    if (error == nullptr) {
      return;
    }
    auto &trap = *static_cast<ErrorTrap *>(context);
    if (error->code == XML_ERR_NO_MEMORY) {
      trap.lacked_memory_ = trap.lacked_memory_ || !trap.met_fault_;
    } else if (error->level == XML_ERR_FATAL) {
      trap.met_fault_ = true;
    }
    if (trap.first()[0] != '\0') {
      return;
    }
    char const *message = error->message == nullptr ? "unknown error" : error->message;
    int const length = static_cast<int>(std::strcspn(message, "\n")); // it ends in a line feed
    ovra_snprintf(trap.first_.data(), FAULT_TEXT_SIZE, "line %d, column %d: %.*s", error->line,
                  error->int2, length, message);
  }

  xmlStructuredErrorFunc handler_;
  void *context_;
  bool lacked_memory_ = false;
  bool met_fault_ = false; // what is read is malformed
  FaultText first_ = {};
};

// --- Reading ----------------------------------------------------------------------------------

constexpr unsigned long long LEAST_EXPANSION = 1000000;   // bytes that any file's entities may have
constexpr unsigned long long EXPANSION_TO_FILE_SIZE = 10; // or so many times the size of the file
constexpr unsigned long long WEIGHT_OF_NODE = 25;         // bytes, of its hundred or two in memory
constexpr int MAX_ENTITY_NESTING = 40;                    // the parser's own limit
constexpr int MAX_DEPTH = 257; // elements inside each other that the parser takes; the root counts

// References in all, when one to a parameter entity is met. From 10,240 on the parser may refuse
// such a file itself, and then hangs (libxml2 2.9.14).
constexpr unsigned long MAX_PARAMETER_REFERENCES = 10000;

// The parser compares each of these with every other.
constexpr int MAX_NAMED_VALUES = 5000;           // of one key
constexpr int MAX_NAMESPACES = 256;              // in force at one place
constexpr int MAX_DECLARATION_BYTES = 32 * 1024; // besides the texts of entities

// Names, prefixes and URIs. The parser keeps each once, in a table that stops to grow at some
// thousand places, and then compares it with more and more others. (Short texts would be in there
// as well, but for XML_PARSE_COMPACT.)
constexpr int MAX_WORDS = 100000; // read in 0.2 s at the most
constexpr int PARSER_WORDS = 100; // and the parser's own, and those of texts of many blanks

// What a parse reads.
class Input {
public:
  virtual unsigned long long size() const noexcept = 0;
  // How many bytes came, 0 at the end; -1 when they cannot be had.
  virtual int read(char *buffer, int size) noexcept = 0;

protected:
  ~Input() = default;
};

class FileInput final : public Input {
public:
  unsigned long open(char const *path) noexcept { return file_.open_for_reading(path); }
  unsigned long long size() const noexcept override { return file_.size(); }
  int read(char *buffer, int size) noexcept override {
    std::size_t count = 0;
    if (!file_.read(buffer, static_cast<std::size_t>(size), &count)) {
      failure_.emplace();
      return -1;
    }
    return static_cast<int>(count);
  }
  // Why reading failed, if it did.
  std::optional<SystemErrorText> const &failure() const noexcept { return failure_; }

private:
  File file_;
  std::optional<SystemErrorText> failure_;
};

class TextInput final : public Input {
public:
  explicit TextInput(std::string_view text) : rest_(text) {}
  unsigned long long size() const noexcept override { return rest_.size(); }
  int read(char *buffer, int size) noexcept override {
    std::size_t const count = rest_.copy(buffer, static_cast<std::size_t>(size));
    rest_.remove_prefix(count);
    return static_cast<int>(count);
  }

private:
  std::string_view rest_;
};

struct Parsed {
  Document document; // null on failure
  // RESULT_FAILURE when the input does not parse, RESULT_SYSTEM_ERROR when it cannot be read,
  // RESULT_OUT_OF_MEMORY.
  unsigned long result = RESULT_SUCCESS;
  FaultText fault = {}; // why the input does not parse
};

// One parse, held to the limits above. The parser's callbacks reach it through `_private`.
class LimitedParse {
public:
  explicit LimitedParse(Input &input)
      : input_(input), parser_(xmlNewParserCtxt()),
        allowance_(std::max(LEAST_EXPANSION, expansion_of(input.size()))) {}

  Parsed run();

private:
  static unsigned long long expansion_of(unsigned long long file_size) {
    constexpr auto MAX = std::numeric_limits<unsigned long long>::max();
    return file_size > MAX / EXPANSION_TO_FILE_SIZE ? MAX : file_size * EXPANSION_TO_FILE_SIZE;
  }

  static LimitedParse &of(xmlParserCtxt *parser) {
    return *static_cast<LimitedParse *>(parser->_private);
  }

  static int read(void *parse, char *buffer, int size) noexcept;
  static xmlEntity *get_entity(void *context, xmlChar const *name) noexcept;
  static xmlEntity *get_parameter_entity(void *context, xmlChar const *name) noexcept;
  static void declare_entity(void *context, xmlChar const *name, int type, xmlChar const *public_id,
                             xmlChar const *system_id, xmlChar *content) noexcept;
  static void declare_unparsed_entity(void *context, xmlChar const *name, xmlChar const *public_id,
                                      xmlChar const *system_id, xmlChar const *notation) noexcept;
  static xmlParserInput *resolve_nothing(void *context, xmlChar const *public_id,
                                         xmlChar const *system_id) noexcept;
  static void declare_attribute(void *context, xmlChar const *element, xmlChar const *name,
                                int type, int kind, xmlChar const *default_text,
                                xmlEnumeration *choices) noexcept;
  static void end_declarations(void *context, xmlChar const *name, xmlChar const *public_id,
                               xmlChar const *system_id) noexcept;
  static void start_element(void *context, xmlChar const *name, xmlChar const *prefix,
                            xmlChar const *uri, int namespace_count, xmlChar const **namespaces,
                            int attribute_count, int defaulted_count,
                            xmlChar const **attributes) noexcept;
  static void take_characters(void *context, xmlChar const *text, int size) noexcept;

  void limit_callbacks();
  char const *find_excess(int more_bytes) noexcept;
  char const *find_excess_at_end(xmlDoc &document) noexcept;
  bool expand(xmlParserCtxt *parser, unsigned long long size) noexcept;
  void refuse(xmlParserCtxt *parser, char const *reason) noexcept;
  void give_up(xmlParserCtxt *parser) noexcept; // for lack of memory
  unsigned long long expanded_size(xmlEntity *entity, int nesting);

  ErrorTrap errors_; // first: making the parser may have something to say
  Input &input_;
  Parser parser_;
  unsigned long long allowance_; // bytes that entities may expand to
  unsigned long long expanded_ = 0;
  int declaration_bytes_ = 0;
  bool lacks_memory_ = false; // which the parser did not tell
  // Why the input is refused; null when it is not. The parser's own verdict may be good all the
  // same: it takes what it was stopped at for the end.
  char const *refusal_ = nullptr;
  std::unordered_map<xmlEntity *, unsigned long long> sizes_; // with all that they refer to
};

// What the parser, which is about to read on, has too much of already; null for nothing.
char const *LimitedParse::find_excess(int more_bytes) noexcept {
  constexpr int FIELDS = 5; // of an attribute, in a table of at most twice the size needed
  if (parser_->maxatts / FIELDS > 2 * MAX_NAMED_VALUES) {
    return "a key has too many named values";
  }
  if (parser_->nsNr / 2 > MAX_NAMESPACES) { // prefix and URI
    return "it has too many namespaces";
  }
  if (xmlDictSize(parser_->dict) > MAX_WORDS + PARSER_WORDS) {
    return "it has too many different names";
  }
  if (parser_->instate == XML_PARSER_DTD) {
    declaration_bytes_ += more_bytes;
  }
  return declaration_bytes_ > MAX_DECLARATION_BYTES ? "it has too many declarations" : nullptr;
}

int LimitedParse::read(void *parse, char *buffer, int size) noexcept {
  auto &self = *static_cast<LimitedParse *>(parse);
  int const count = self.input_.read(buffer, size);
  if (self.refusal_ == nullptr) {
    self.refusal_ = self.find_excess(count);
  }
  // An input that fails ends the parse. To stop the parser would free what it reads into.
  return self.refusal_ == nullptr ? count : -1;
}

void LimitedParse::refuse(xmlParserCtxt *parser, char const *reason) noexcept {
  refusal_ = reason;
  xmlStopParser(parser);
}

void LimitedParse::give_up(xmlParserCtxt *parser) noexcept {
  lacks_memory_ = true;
  xmlStopParser(parser);
}

// Counts the text that a reference is about to be replaced by; false when that is too much.
bool LimitedParse::expand(xmlParserCtxt *parser, unsigned long long size) noexcept {
  if (size > allowance_ - expanded_) {
    refuse(parser, "its entities expand to too much");
    return false;
  }
  expanded_ += size;
  return true;
}

// The bytes of an entity's text, and more where it becomes elements: one for each '<', with a named
// value for each '='.
unsigned long long weight_of(std::string_view text) {
  bool const has_elements = text.find('<') != text.npos;
  auto const becomes_node = [](char c) { return c == '<' || c == '='; };
  auto const nodes = has_elements ? std::count_if(text.begin(), text.end(), becomes_node) : 0;
  return text.size() + static_cast<unsigned long long>(nodes) * WEIGHT_OF_NODE;
}

// The weight of an entity with everything that it refers to, as far as it matters. Only when all
// are declared.
unsigned long long LimitedParse::expanded_size(xmlEntity *entity, int nesting) {
  if (nesting > MAX_ENTITY_NESTING) {
    return allowance_ + 1;
  }
  // An entity that contains itself meets the 0 here; the parser finds the loop when it expands it.
  auto const [known, is_new] = sizes_.emplace(entity, 0);
  if (!is_new) {
    return known->second;
  }
  std::string_view const content = plain(entity->content);
  unsigned long long size = weight_of(content);
  for (std::size_t at = content.find('&'); at != content.npos; at = content.find('&', at + 1)) {
    std::string const name(content.substr(at + 1, content.find(';', at) - at - 1));
    xmlEntity *inner = xmlGetDocEntity(parser_->myDoc, xml(name.c_str()));
    if (inner != nullptr && inner->etype == XML_INTERNAL_GENERAL_ENTITY && size <= allowance_) {
      size += expanded_size(inner, nesting + 1);
    }
  }
  return sizes_[entity] = size;
}

// Whether an entity that the parser asks for is about to be replaced by its text. Otherwise it is
// not there, or has just been declared: the parser then asks for it to store its `orig`.
bool is_referred_to(xmlEntity const *entity) {
  return entity != nullptr && entity->orig != nullptr;
}

xmlEntity *LimitedParse::get_entity(void *context, xmlChar const *name) noexcept try {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  LimitedParse &self = of(parser);
  xmlEntity *entity = xmlSAX2GetEntity(parser, name);
  if (!is_referred_to(entity)) {
    return entity;
  }
  // Among the declarations every reference is replaced anew, the inner ones as well. Later an
  // entity is parsed once and then copied with what is inside, which is counted at the outermost.
  bool const is_declaration = parser->inSubset != 0;
  if (!is_declaration && parser->depth > 0) {
    return entity;
  }
  unsigned long long const size = is_declaration ? static_cast<unsigned long long>(entity->length)
                                                 : self.expanded_size(entity, 0);
  // A stopped parser would go on with an entity that it is given.
  return self.expand(parser, size) ? entity : nullptr;
} catch (std::bad_alloc const &) {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  of(parser).give_up(parser);
  return nullptr;
}

xmlEntity *LimitedParse::get_parameter_entity(void *context, xmlChar const *name) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  xmlEntity *entity = xmlSAX2GetParameterEntity(parser, name);
  if (!is_referred_to(entity)) {
    return entity;
  }
  if (parser->nbentities > MAX_PARAMETER_REFERENCES) {
    of(parser).refuse(parser, "it has too many parameter entity references");
    return nullptr;
  }
  auto const length = static_cast<unsigned long long>(entity->length);
  return of(parser).expand(parser, length) ? entity : nullptr;
}

void LimitedParse::declare_entity(void *context, xmlChar const *name, int type,
                                  xmlChar const *public_id, xmlChar const *system_id,
                                  xmlChar *content) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  if (type != XML_INTERNAL_GENERAL_ENTITY && type != XML_INTERNAL_PARAMETER_ENTITY) {
    of(parser).refuse(parser, "it declares an external entity");
    return;
  }
  xmlSAX2EntityDecl(parser, name, type, public_id, system_id, content);
  // Without memory the parser says nothing, and misses the entity later.
  bool const is_general = type == XML_INTERNAL_GENERAL_ENTITY;
  xmlEntity const *const declared = is_general ? xmlGetDocEntity(parser->myDoc, name)
                                               : xmlGetParameterEntity(parser->myDoc, name);
  if (declared == nullptr) {
    of(parser).give_up(parser);
  }
}

void LimitedParse::declare_unparsed_entity(void *context, xmlChar const *, xmlChar const *,
                                           xmlChar const *, xmlChar const *) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  of(parser).refuse(parser, "it declares an external entity");
}

xmlParserInput *LimitedParse::resolve_nothing(void *, xmlChar const *, xmlChar const *) noexcept {
  return nullptr;
}

// The text as it stands in a file, for what the XML library writes without turning it into that.
// Null for null and without memory.
XmlString file_text(xmlDoc *document, xmlChar const *text) {
  Buffer const buffer(text == nullptr ? nullptr : xmlBufferCreate());
  if (buffer == nullptr) {
    return nullptr;
  }
  xmlAttrSerializeTxtContent(buffer.get(), document, nullptr, text);
  return XmlString(xmlStrdup(xmlBufferContent(buffer.get()))); // the buffer itself has 4 KB
}

// Whether a text stands in a file as it is.
bool is_file_text(xmlChar const *text) {
  constexpr xmlChar FIRST_NOT_ASCII = 0x80;
  char const *const end = plain(text) + xmlStrlen(text);
  return std::strpbrk(plain(text), "&<>\"\t\r\n") == nullptr &&
         std::none_of(plain(text), end,
                      [](char c) { return static_cast<xmlChar>(c) >= FIRST_NOT_ASCII; });
}

// No attribute gets the default: only a save looks at it. One that does not fit the type would be
// taken off, and a declaration be left that does not parse.
void LimitedParse::declare_attribute(void *context, xmlChar const *element, xmlChar const *name,
                                     int type, int kind, xmlChar const *default_text,
                                     xmlEnumeration *choices) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  bool const fits =
      default_text == nullptr ||
      xmlValidateAttributeValue(static_cast<xmlAttributeType>(type), default_text) != 0;
  xmlChar const *text = fits ? default_text : nullptr;
  // The other types have names and numbers, and are compared with them before they are written.
  XmlString const written = file_text(parser->myDoc, type == XML_ATTRIBUTE_CDATA ? text : nullptr);
  text = type == XML_ATTRIBUTE_CDATA ? written.get() : text;
  xmlSAX2AttributeDecl(parser, element, name, type, fits ? kind : XML_ATTRIBUTE_IMPLIED, text,
                       choices);
}

// Called where an external subset would be read, behind the internal one. What that says of
// attributes is forgotten: by their types their texts would not come back as they were stored, and
// defaults cost time at every element, though none would be taken.
void LimitedParse::end_declarations(void *context, xmlChar const *, xmlChar const *,
                                    xmlChar const *) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  xmlHashFree(parser->attsDefault, xmlHashDefaultDeallocator);
  xmlHashFree(parser->attsSpecial, nullptr);
  parser->attsDefault = nullptr;
  parser->attsSpecial = nullptr;
  // A reference to an entity that is not declared would else be taken, for one that the text of a
  // parameter entity may have declared. A save leaves such texts out, and so it could not be saved.
  parser->hasPErefs = 0;
}

void LimitedParse::start_element(void *context, xmlChar const *name, xmlChar const *prefix,
                                 xmlChar const *uri, int namespace_count,
                                 xmlChar const **namespaces, int attribute_count,
                                 int defaulted_count, xmlChar const **attributes) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  xmlSAX2StartElementNs(parser, name, prefix, uri, namespace_count, namespaces, attribute_count,
                        defaulted_count, attributes);
  xmlNs *declared = parser->node == nullptr ? nullptr : parser->node->nsDef;
  for (; declared != nullptr; declared = declared->next) {
    if (is_file_text(declared->href)) {
      continue;
    }
    if (XmlString text = file_text(parser->myDoc, declared->href); text != nullptr) {
      xmlFree(const_cast<xmlChar *>(declared->href));
      declared->href = text.release();
    }
  }
}

void LimitedParse::take_characters(void *context, xmlChar const *text, int size) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  // The parser itself takes such a text for a lack of memory.
  bool const goes_on = parser->nodemem != 0 && parser->node != nullptr &&
                       parser->node->last != nullptr && parser->node->last->type == XML_TEXT_NODE;
  if (goes_on && parser->nodelen > XML_MAX_TEXT_LENGTH - size) {
    of(parser).refuse(parser, "a text is too long");
    return;
  }
  xmlSAX2Characters(parser, text, size);
}

void LimitedParse::limit_callbacks() {
  parser_->_private = this;
  parser_->sax->getEntity = get_entity;
  parser_->sax->getParameterEntity = get_parameter_entity;
  parser_->sax->entityDecl = declare_entity;
  parser_->sax->unparsedEntityDecl = declare_unparsed_entity;
  parser_->sax->resolveEntity = resolve_nothing;
  parser_->sax->attributeDecl = declare_attribute;
  parser_->sax->externalSubset = end_declarations;
  parser_->sax->startElementNs = start_element;
  parser_->sax->characters = take_characters;
  // What `xmlKeepBlanksDefault` of this thread may have set otherwise.
  parser_->keepBlanks = 1;
  parser_->sax->ignorableWhitespace = take_characters;
}

// Whether a node is text of nothing but blanks. A CDATA section never is: its blanks were meant.
bool is_blank(xmlNode const &node) {
  char const *const text = plain(node.content);
  return node.type == XML_TEXT_NODE && text[std::strspn(text, " \t\r\n")] == '\0';
}

bool is_text(xmlNode const &node) {
  return node.type == XML_TEXT_NODE || node.type == XML_CDATA_SECTION_NODE;
}

// Frees the text nodes from `first` to before `end`.
void drop_text(xmlNode *first, xmlNode const *end) {
  while (first != end) {
    xmlNode *const next = first->next;
    if (is_text(*first)) {
      xmlUnlinkNode(first);
      xmlFreeNode(first);
    }
    first = next;
  }
}

// Drops the layout of the file: between two tags, comments and instructions left out, the text that
// is nothing but blanks. A text that is all that the element holds stays.
void drop_layout(xmlNode &element) {
  if (element.children != nullptr && element.children->next == nullptr) {
    return;
  }
  for (xmlNode *node = element.children; node != nullptr;) {
    xmlNode *const first = node;
    bool has_text = false;
    for (; node != nullptr && !is_element(node); node = node->next) {
      has_text = has_text || (is_text(*node) && !is_blank(*node));
    }
    if (!has_text) {
      drop_text(first, node);
    }
    node = node == nullptr ? nullptr : node->next;
  }
}

// The node after this one in the order of the file.
xmlNode *next_in_file(xmlNode *node) {
  if (is_element(node) && node->children != nullptr) {
    return node->children;
  }
  while (node != nullptr && node->next == nullptr) {
    node = node->parent;
  }
  return node == nullptr ? nullptr : node->next;
}

// Not left to the parser (XML_PARSE_NOBLANKS), which goes by how far it has read and by what comes
// first in an element.
void drop_layout(xmlDoc &document) {
  for (xmlNode *node = xmlDocGetRootElement(&document); node != nullptr;
       node = next_in_file(node)) {
    if (is_element(node)) {
      drop_layout(*node);
    }
  }
}

int depth_of(xmlNode const *node) {
  int depth = 0;
  for (; node != nullptr && is_element(node); node = node->parent) {
    ++depth;
  }
  return depth;
}

// Entities can bring elements to a depth at which the parser would not take them.
bool is_too_deep(xmlDoc &document) {
  for (xmlNode *node = xmlDocGetRootElement(&document); node != nullptr;
       node = next_in_file(node)) {
    if (is_element(node) && node->children == nullptr && depth_of(node) > MAX_DEPTH) {
      return true;
    }
  }
  return false;
}

// What came after the last look at it counts as well: what is loaded can be saved and loaded again.
char const *LimitedParse::find_excess_at_end(xmlDoc &document) noexcept {
  if (char const *excess = find_excess(0); excess != nullptr) {
    return excess;
  }
  return expanded_ > 0 && is_too_deep(document) ? "its entities nest too deep" : nullptr;
}

Parsed LimitedParse::run() {
  if (parser_ == nullptr) {
    return {nullptr, RESULT_OUT_OF_MEMORY};
  }
  limit_callbacks();
  Document document(xmlCtxtReadIO(parser_.get(), read, nullptr, this, nullptr, nullptr,
                                  XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_COMPACT));
  bool const lacks_memory = errors_.lacked_memory() || lacks_memory_;
  if (lacks_memory && refusal_ == nullptr) {
    return {nullptr, RESULT_OUT_OF_MEMORY};
  }
  if (refusal_ == nullptr && document != nullptr) {
    refusal_ = find_excess_at_end(*document);
  }
  if (document == nullptr || refusal_ != nullptr) {
    Parsed parsed = {nullptr, RESULT_FAILURE};
    ovra_snprintf(parsed.fault.data(), FAULT_TEXT_SIZE, "%s",
                  refusal_ != nullptr ? refusal_ : errors_.first());
    return parsed;
  }
  drop_layout(*document);
  return {std::move(document)};
}

// For a file that exists, and cannot be opened or read at this moment.
unsigned long report_unreadable(char const *path, SystemErrorText const &reason) {
  category().warn("Unable to read file '%s': %s", path, reason.c_str());
  return RESULT_SYSTEM_ERROR;
}

Parsed parse_file(char const *path) {
  FileInput file;
  if (unsigned long const result = file.open(path); result != RESULT_SUCCESS) {
    SystemErrorText const reason;
    return {nullptr, result == RESULT_OUT_OF_MEMORY ? result : report_unreadable(path, reason)};
  }
  Parsed parsed = LimitedParse(file).run();
  if (file.failure()) {
    return {nullptr, report_unreadable(path, *file.failure())};
  }
  if (parsed.result == RESULT_FAILURE) {
    category().debug("%s", parsed.fault.data());
  }
  return parsed;
}

// --- Writing ----------------------------------------------------------------------------------

// The layout of written files. The XML library keeps both settings for each thread, so the thread
// that saves gets ours, and its own back afterwards.
class WriterSettings {
public:
  WriterSettings() : is_indented_(xmlIndentTreeOutput), indentation_(xmlTreeIndentString) {
    xmlIndentTreeOutput = 1;
    xmlTreeIndentString = "  ";
  }
  WriterSettings(WriterSettings const &) = delete;
  WriterSettings &operator=(WriterSettings const &) = delete;
  ~WriterSettings() {
    xmlIndentTreeOutput = is_indented_;
    xmlTreeIndentString = indentation_;
  }

private:
  int is_indented_;
  char const *indentation_;
};

constexpr char UTF_8[] = "UTF-8";

// Throws std::bad_alloc without memory.
Serialized serialize(xmlDoc &document, char const *encoding) {
  WriterSettings const settings;
  ErrorTrap const errors;
  xmlChar *text = nullptr;
  Serialized result;
  xmlDocDumpFormatMemoryEnc(&document, &text, &result.size, encoding, /*format=*/1);
  result.text.reset(text);
  if (text == nullptr || errors.lacked_memory()) {
    throw std::bad_alloc();
  }
  return result;
}

bool is_utf_8(xmlDoc const &document) {
  return document.encoding != nullptr && xmlStrcasecmp(document.encoding, xml(UTF_8)) == 0;
}

// What the text parses to. Throws std::bad_alloc without memory.
Parsed read_back(Serialized const &written) {
  TextInput text(written.view());
  Parsed parsed = LimitedParse(text).run();
  if (parsed.result == RESULT_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  return parsed;
}

bool are_equal(xmlDoc &one, xmlDoc &other) {
  return serialize(one, UTF_8).view() == serialize(other, UTF_8).view();
}

// The text of the file, null and with the reason in `fault` when that would not parse. Another
// encoding than UTF-8 is kept when the same is read back as out of UTF-8. Throws std::bad_alloc
// without memory.
Serialized make_file_text(xmlDoc &document, FaultText *fault) {
  char const *const encoding = reinterpret_cast<char const *>(document.encoding); // may be null
  bool const is_converted = encoding != nullptr && !is_utf_8(document);
  Serialized written = serialize(document, is_converted ? UTF_8 : encoding);
  Parsed const again = read_back(written);
  if (is_converted && again.document != nullptr) {
    Serialized kept = serialize(document, encoding);
    Parsed const kept_again = read_back(kept);
    if (kept_again.document != nullptr && are_equal(*kept_again.document, *again.document)) {
      return kept;
    }
  }
  *fault = again.fault;
  return again.document != nullptr ? std::move(written) : Serialized();
}

// --- Keys and values --------------------------------------------------------------------------

xmlNode *first_element(xmlNode *node) {
  while (node != nullptr && !is_element(node)) {
    node = node->next;
  }
  return node;
}

// Gives the node as a handle and writes its name; null for no node.
void const *report_key(xmlNode *node, std::string *name) {
  if (node != nullptr) {
    *name = plain(node->name);
  }
  return node;
}

// Writes all text inside an element or an attribute, or that of a text, a comment or an
// instruction; false without memory.
bool read_content(xmlNode *node, std::string *text) {
  xmlNode const *first = node->children;
  bool const keeps_text_in_children = is_element(node) || is_attribute(node);
  if (first == nullptr && (keeps_text_in_children || node->content == nullptr)) {
    text->clear();
    return true;
  }
  bool const is_one_text =
      first != nullptr && first->type == XML_TEXT_NODE && first->next == nullptr;
  if (is_one_text) { // nearly always: spares a copy
    *text = plain(first->content);
    return true;
  }
  XmlString const content(xmlNodeGetContent(node));
  if (content == nullptr) {
    return false;
  }
  *text = plain(content.get());
  return true;
}

void const *report_attribute(xmlAttr *attribute, std::string *name, std::string *text) {
  if (attribute == nullptr) {
    return nullptr;
  }
  std::string attribute_name = plain(attribute->name);
  if (!read_content(as_node(attribute), text)) {
    return nullptr;
  }
  *name = std::move(attribute_name);
  return attribute;
}

xmlAttr *find_attribute(xmlNode const &element, char const *name) {
  xmlAttr *attribute = element.properties;
  while (attribute != nullptr && std::strcmp(plain(attribute->name), name) != 0) {
    attribute = attribute->next;
  }
  return attribute;
}

// Whether a child of any kind has that name: a CDATA section has none.
bool has_name(xmlNode const &child, char const *name) {
  return child.name != nullptr && std::strcmp(plain(child.name), name) == 0;
}

int count_attributes(xmlNode const &element) {
  int count = 0;
  for (xmlAttr const *attribute = element.properties; attribute != nullptr;
       attribute = attribute->next) {
    ++count;
  }
  return count;
}

// Whether the characters come back out of the encoding of the document's file.
bool fits_encoding(xmlDoc const &document, char const *name) {
  if (document.encoding == nullptr || is_utf_8(document)) {
    return true;
  }
  xmlCharEncodingHandler *handler = xmlFindCharEncodingHandler(plain(document.encoding));
  if (handler == nullptr) {
    return false;
  }
  ErrorTrap const errors;
  Buffer const before(xmlBufferCreate()), encoded(xmlBufferCreate()), after(xmlBufferCreate());
  bool const fits = before != nullptr && encoded != nullptr && after != nullptr &&
                    xmlBufferCat(before.get(), xml(name)) == 0 &&
                    xmlCharEncOutFunc(handler, encoded.get(), before.get()) >= 0 &&
                    xmlCharEncInFunc(handler, after.get(), encoded.get()) >= 0 &&
                    std::strcmp(plain(xmlBufferContent(after.get())), name) == 0;
  xmlCharEncCloseFunc(handler);
  return fits;
}

// The words of a name, as the parser keeps them: one with a prefix is there whole and in its parts.
template <class Visit> void for_each_word(std::string_view name, Visit visit) {
  visit(name);
  if (std::size_t const colon = name.find(':'); colon != name.npos) {
    visit(name.substr(0, colon));
    visit(name.substr(colon + 1));
  }
}

// Counts the words that the document has now, with those of one more name. Throws std::bad_alloc
// without memory.
std::size_t count_words(xmlDoc &document, char const *name) {
  std::unordered_set<std::string_view> words;
  auto const add = [&words](std::string_view word) { words.insert(word); };
  for_each_word(name, add);
  for (xmlNode *node = xmlDocGetRootElement(&document); node != nullptr;
       node = next_in_file(node)) {
    if (!is_element(node)) {
      continue;
    }
    for_each_word(plain(node->name), add);
    for (xmlAttr const *attribute = node->properties; attribute != nullptr;
         attribute = attribute->next) {
      for_each_word(plain(attribute->name), add);
    }
    for (xmlNs const *space = node->nsDef; space != nullptr; space = space->next) {
      add(plain(space->prefix));
      add(plain(space->href));
    }
  }
  return words.size();
}

// Whether a load takes the document with one more name. The document's dictionary has every word
// that it ever had, so the words are counted only when that is full.
bool has_room_for(xmlDoc &document, char const *name) {
  std::size_t added = 0;
  auto const look_up = [&](std::string_view word) {
    bool const is_new = xmlDictExists(document.dict, xml(word.data()), int(word.size())) == nullptr;
    added += is_new ? 1 : 0;
  };
  for_each_word(name, look_up);
  auto const known = static_cast<std::size_t>(xmlDictSize(document.dict));
  return known + added <= MAX_WORDS || count_words(document, name) <= MAX_WORDS;
}

// Has the document's dictionary count the words of a name that it is about to have.
void keep_words(xmlDoc &document, char const *name) {
  for_each_word(name, [&](std::string_view word) {
    xmlDictLookup(document.dict, xml(word.data()), int(word.size()));
  });
}

// Why the name cannot stand at this element or below it; null when it can.
XmlFault find_fault_in_place(xmlNode &element, char const *name) {
  if (XmlFault const fault = find_name_fault(name); fault != nullptr) {
    return fault;
  }
  if (char const *colon = std::strchr(name, ':'); colon != nullptr) {
    std::string const prefix(name, colon);
    if (xmlSearchNs(element.doc, &element, xml(prefix.c_str())) != nullptr) {
      return "the file declares its prefix, and a load would take that off";
    }
  }
  if (!fits_encoding(*element.doc, name)) {
    return "the file's encoding lacks a character";
  }
  return has_room_for(*element.doc, name) ? nullptr : "the file has too many different names";
}

// The parser holds a start tag in one buffer, for which it has a limit of 10,000,000 bytes; some of
// what stands in front may be in there as well.
constexpr std::size_t MAX_START_TAG_BYTES = 9990000;

// An upper bound, from lengths alone, of the bytes that a text takes in a file: most for `"`.
constexpr std::size_t MOST_BYTES_PER_BYTE = sizeof("&quot;") - 1;
constexpr std::size_t ATTRIBUTE_FRAME_BYTES = sizeof(" =\"\"") - 1;

// Of a name in the file, colon included.
std::size_t prefix_bytes(xmlNs const *space) {
  return space == nullptr || space->prefix == nullptr ? 0 : std::strlen(plain(space->prefix)) + 1;
}

// The bytes of the element's start tag in the file with the attribute set to the text, as
// `measure_text` counts those of one text.
template <class MeasureText>
std::size_t measure_start_tag(xmlNode const &element, char const *name, char const *text,
                              MeasureText measure_text) {
  std::size_t bytes = prefix_bytes(element.ns) + std::strlen(plain(element.name)) +
                      std::strlen(name) + ATTRIBUTE_FRAME_BYTES + measure_text(text);
  xmlAttr const *const replaced = find_attribute(element, name);
  bytes += replaced != nullptr ? prefix_bytes(replaced->ns) : 0;
  for (xmlAttr const *attribute = element.properties; attribute != nullptr;
       attribute = attribute->next) {
    if (attribute == replaced) {
      continue;
    }
    bytes +=
        prefix_bytes(attribute->ns) + std::strlen(plain(attribute->name)) + ATTRIBUTE_FRAME_BYTES;
    for (xmlNode const *part = attribute->children; part != nullptr; part = part->next) {
      bytes += measure_text(plain(part->content));
    }
  }
  for (xmlNs const *space = element.nsDef; space != nullptr; space = space->next) {
    bytes += std::strlen("xmlns") + prefix_bytes(space) + ATTRIBUTE_FRAME_BYTES +
             measure_text(plain(space->href));
  }
  return bytes;
}

bool fits_start_tag(xmlNode const &element, char const *name, char const *text) {
  XmlEncoding const encoding = is_utf_8(*element.doc) ? XmlEncoding::UTF_8 : XmlEncoding::OTHER;
  auto const at_most = [](std::string_view value) { return value.size() * MOST_BYTES_PER_BYTE; };
  auto const exactly = [encoding](std::string_view value) {
    return measure_attribute(value, encoding);
  };
  return measure_start_tag(element, name, text, at_most) <= MAX_START_TAG_BYTES ||
         measure_start_tag(element, name, text, exactly) <= MAX_START_TAG_BYTES;
}

XmlFault find_value_fault(xmlNode &element, char const *name, char const *text) {
  if (XmlFault const fault = find_text_fault(text); fault != nullptr || name == nullptr) {
    return fault;
  }
  if (find_attribute(element, name) == nullptr) {
    if (XmlFault const fault = find_fault_in_place(element, name); fault != nullptr) {
      return fault;
    }
    if (count_attributes(element) >= MAX_NAMED_VALUES) {
      return "the key has too many named values";
    }
  }
  return fits_start_tag(element, name, text) ? nullptr : "the key's named values get too long";
}

// Makes the text all that the node has inside; false without memory, with nothing changed.
// The XML library's own function would take what looks like an entity for one.
bool replace_content(xmlNode &node, char const *text) {
  NewNode content;
  if (*text != '\0') {
    content.reset(xmlNewDocText(node.doc, xml(text)));
    if (content == nullptr || content->content == nullptr) {
      return false;
    }
    content->parent = &node;
  }
  xmlFreeNodeList(node.children);
  node.children = node.last = content.release();
  return true;
}

bool set_attribute(xmlNode &element, char const *name, char const *text) {
  if (xmlAttr *const existing = find_attribute(element, name); existing != nullptr) {
    if (existing->atype == XML_ATTRIBUTE_ID) {
      xmlRemoveID(existing->doc, existing); // the table of identifiers holds the old text
    }
    return replace_content(*as_node(existing), text);
  }
  keep_words(*element.doc, name);
  xmlAttr *const made = xmlNewNsProp(&element, nullptr, xml(name), nullptr);
  if (made == nullptr) {
    return false;
  }
  if (made->name == nullptr || !replace_content(*as_node(made), text)) {
    xmlRemoveProp(made);
    return false;
  }
  return true;
}

// --- Roots ------------------------------------------------------------------------------------

struct RootFile {
  IConfigSource::ConfigRoot root;
  char const *file_name;
  char const *element_name;
};

constexpr RootFile ROOT_FILES[] = {
    {IConfigSource::CONFIG_ROOT_APPLICATIONS, "application-config.xml", "Applications"},
    {IConfigSource::CONFIG_ROOT_BEHAVIORS, "behavior-config.xml", "Behaviors"},
    {IConfigSource::CONFIG_ROOT_PERSONALITIES, "personality-config.xml", "Personalities"},
    {IConfigSource::CONFIG_ROOT_RESOURCES, "resource-config.xml", "Resources"},
    {IConfigSource::CONFIG_ROOT_SEMANTICS, "semantic-config.xml", "Semantics"},
    {IConfigSource::CONFIG_ROOT_USER_CONFIG, "user-config.xml", "UserConfig"},
};

IConfigSource::ConfigRoot root_of(xmlNode const &top_key) {
  for (RootFile const &file : ROOT_FILES) {
    if (std::strcmp(plain(top_key.name), file.element_name) == 0) {
      return file.root;
    }
  }
  return IConfigSource::CONFIG_ROOT_OTHER;
}

// A file that exists but cannot be opened at this moment is not passed over: what is found behind
// it would be another configuration.
unsigned long try_candidate(std::string const &path, std::string *found) {
  unsigned long const result = File().open_for_reading(path.c_str());
  if (result == RESULT_SYSTEM_ERROR) {
    return report_unreadable(path.c_str(), SystemErrorText());
  }
  if (result == RESULT_SUCCESS) {
    *found = path;
  }
  return result;
}

std::vector<std::string> split_search_path(std::string_view path) {
  std::string_view const delimiter = Platform::get_search_path_delimiter();
  std::vector<std::string> entries;
  std::size_t begin = 0;
  for (std::size_t end = path.find(delimiter); end != path.npos;
       end = path.find(delimiter, begin)) {
    entries.emplace_back(path.substr(begin, end - begin));
    begin = end + delimiter.size();
  }
  entries.emplace_back(path.substr(begin));
  return entries;
}

// 0 until there is a first source, whose constructor stores what all of them bring.
std::atomic<ClassMark> xml_source_class{0};

} // namespace

void FreeXmlDocument::operator()(_xmlDoc *document) const noexcept {
  xmlFreeDoc(document);
}

int XmlConfigSource::_instance_count = 0;

// --- Construction and loading -----------------------------------------------------------------

XmlConfigSource const *XmlConfigSource::exactly(IConfigSource const &source) noexcept {
  bool const is_ours = class_mark(source) == xml_source_class.load(std::memory_order_relaxed);
  return is_ours ? static_cast<XmlConfigSource const *>(&source) : nullptr;
}

XmlConfigSource::XmlConfigSource() {
  xml_source_class.store(class_mark<IConfigSource>(*this), std::memory_order_relaxed);
  {
    LoggedSourceLock const lock;
    xmlIndentTreeOutput = 1;
    xmlKeepBlanksDefault(0);
    if (!lock) {
      return;
    }
    ++_instance_count;
    is_counted_ = true;
  }
  std::string path;
  if (read_system_property(Platform::CONFIG_PATH, &path) != RESULT_SUCCESS) {
    category().warn("Failed to determine system configuration path");
    return;
  }
  set_search_path(path.c_str());
}

unsigned long XmlConfigSource::init_source(void const *file) try {
  auto const *const file_name = static_cast<char const *>(file);
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (file_name == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string found;
  if (unsigned long const result = find_file(file_name, &found); result != RESULT_SUCCESS) {
    category().warn("Failed to find file '%s'", file_name);
    return result;
  }
  LoggingCategoryPostfixed(&category()).trace("Loading '%s'", found.c_str());
  return load(std::move(found));
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::load(std::string path) {
  Parsed parsed = parse_file(path.c_str());
  if (parsed.result == RESULT_FAILURE) {
    category().warn("Failed to parse config file %s", path.c_str());
    adopt({nullptr, std::move(path)});
    return RESULT_FAILURE;
  }
  if (parsed.result != RESULT_SUCCESS) {
    return parsed.result;
  }
  xmlNode const *top = xmlDocGetRootElement(parsed.document.get());
  if (top == nullptr) {
    category().warn("Invalid Root node in xml file %s; aborting parse", path.c_str());
    return RESULT_FAILURE;
  }
  config_root_ = root_of(*top);
  adopt({std::move(parsed.document), std::move(path)});
  return RESULT_SUCCESS;
}

void XmlConfigSource::adopt(DocumentRecord record) {
  index_.reset();
  main_document_ = std::move(record);
}

unsigned long XmlConfigSource::init_source(ConfigRoot root, void const *path) {
  if (path != nullptr) {
    unsigned long const result = set_search_path(static_cast<char const *>(path));
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  for (RootFile const &file : ROOT_FILES) {
    if (file.root == root) {
      return init_source(static_cast<void const *>(file.file_name));
    }
  }
  return RESULT_INVALID_ARGUMENT;
}

void const *XmlConfigSource::open_repository(char const *name) try {
  if (name == nullptr) {
    return nullptr;
  }
  LoggedSourceLock const lock;
  if (!lock) {
    return nullptr;
  }
  if (auto const open = repositories_.find(name); open != repositories_.end()) {
    return xmlDocGetRootElement(open->second.document.get());
  }
  std::string const delimiter = Platform::get_path_delimiter();
  if (delimiter.size() != 1) {
    return nullptr;
  }
  std::string relative_path = delimiter + name;
  std::replace(relative_path.begin(), relative_path.end(), '.', delimiter.front());
  relative_path += ".xml";
  DocumentRecord record;
  if (find_file(relative_path.c_str(), &record.file_name) != RESULT_SUCCESS) {
    return nullptr;
  }
  Parsed parsed = parse_file(record.file_name.c_str());
  if (parsed.result == RESULT_FAILURE) {
    category().warn("Failed to parse config file %s", record.file_name.c_str());
  }
  if (parsed.result != RESULT_SUCCESS) {
    return nullptr;
  }
  record.document = std::move(parsed.document);
  xmlNode const *top_key = xmlDocGetRootElement(record.document.get());
  if (top_key == nullptr) {
    category().warn("Root node of %s is null, aborting parse", record.file_name.c_str());
    return nullptr;
  }
  repositories_.emplace(name, std::move(record));
  return top_key;
} catch (std::bad_alloc const &) {
  return nullptr;
}

void XmlConfigSource::close_repository(char const *name) try {
  LoggedSourceLock const lock;
  if (!lock || name == nullptr) {
    return;
  }
  if (auto const open = repositories_.find(name); open != repositories_.end()) {
    index_.reset();
    repositories_.erase(open);
  }
} catch (std::bad_alloc const &) {
  // The name could not be looked up; the repository stays open.
}

IConfigSource::ConfigRoot XmlConfigSource::get_config_root() {
  return config_root_;
}

// --- Walking ----------------------------------------------------------------------------------

void const *XmlConfigSource::find_first(void const *key, std::string *name) const try {
  LoggedSourceLock const lock;
  if (!lock || name == nullptr) {
    return nullptr;
  }
  return report_key(key == nullptr ? top_key() : first_element(as_node(key)->children), name);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_next(void const *key, std::string *name) const try {
  LoggedSourceLock const lock;
  if (!lock || key == nullptr || name == nullptr) {
    return nullptr;
  }
  return report_key(first_element(as_node(key)->next), name);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_first_value(void const *key, std::string *name,
                                              std::string *text) const try {
  LoggedSourceLock const lock;
  if (!lock || key == nullptr || name == nullptr || text == nullptr) {
    return nullptr;
  }
  if (read_content(as_node(key), text)) {
    name->clear();
    return key;
  }
  return report_attribute(as_node(key)->properties, name, text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_next_value(void const *value, std::string *name,
                                             std::string *text) const try {
  LoggedSourceLock const lock;
  if (!lock || value == nullptr || name == nullptr || text == nullptr) {
    return nullptr;
  }
  xmlNode const *node = as_node(value);
  xmlAttr *next = nullptr;
  if (is_element(node)) {
    next = node->properties;
  } else if (is_attribute(node)) {
    next = reinterpret_cast<xmlAttr const *>(node)->next;
  }
  return report_attribute(next, name, text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_indexed_sub_key(void const *key, char const *name,
                                                  int index) const {
  if (key == nullptr || name == nullptr || index < 0 || !is_element(as_node(key))) {
    return nullptr;
  }
  xmlNode *node = as_node(key)->children;
  for (; node != nullptr; node = node->next) {
    if (has_name(*node, name) && index-- == 0) {
      break;
    }
  }
  return node;
}

int XmlConfigSource::count_sub_keys(void const *key, char const *name) const noexcept {
  int count = 0;
  if (is_element(as_node(key))) {
    for (xmlNode const *node = as_node(key)->children; node != nullptr; node = node->next) {
      count += has_name(*node, name) ? 1 : 0;
    }
  }
  return count;
}

bool XmlConfigSource::get_key_name(void const *key, std::string *name) const try {
  if (key == nullptr || name == nullptr || as_node(key)->name == nullptr) {
    return false;
  }
  *name = plain(as_node(key)->name);
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

bool XmlConfigSource::get_value_data(void const *value, std::string *name, std::string *text) const
    try {
  if (value == nullptr || name == nullptr || text == nullptr) {
    return false;
  }
  if (is_attribute(as_node(value))) {
    return report_attribute(reinterpret_cast<xmlAttr *>(as_node(value)), name, text) != nullptr;
  }
  if (!read_content(as_node(value), text)) {
    return false;
  }
  name->clear();
  return true;
} catch (std::bad_alloc const &) {
  return false;
}

void const *XmlConfigSource::search_key(void const *key, char const *path) const {
  return walk_key_path(key, path,
                       [this](void const *parent, std::string_view name, unsigned int index) {
                         return search_sub_key(parent, name, index);
                       });
}

void const *XmlConfigSource::search_sub_key(void const *key, std::string_view name,
                                            unsigned int index) const {
  if (key == nullptr) {
    xmlNode const *top = top_key();
    bool const matches = top != nullptr && (name.empty() || name == plain(top->name));
    return matches && index == 0 ? top : nullptr;
  }
  if (index_ == nullptr) {
    index_ = std::make_unique<KeyIndex>();
  }
  KeyIndex::Children const *children = index_->find(key);
  if (children == nullptr) {
    KeyIndex::Children found;
    for (xmlNode *node = first_element(as_node(key)->children); node != nullptr;
         node = first_element(node->next)) {
      found.add(plain(node->name), node);
    }
    children = &index_->add(key, std::move(found));
  }
  return children->find(name, index);
}

void const *XmlConfigSource::search_value(void const *key, char const *name,
                                          std::string *text) const {
  bool const is_text_value = name == nullptr || *name == '\0';
  void const *const value = is_text_value ? key : find_attribute(*as_node(key), name);
  if (value != nullptr && !read_content(as_node(value), text)) {
    throw std::bad_alloc();
  }
  return value;
}

_xmlNode *XmlConfigSource::top_key() const {
  return xmlDocGetRootElement(main_document_.document.get()); // null for no document
}

// --- Editing ----------------------------------------------------------------------------------

void const *XmlConfigSource::create_key(void const *parent, char const *name, bool commit) try {
  LoggedSourceLock const lock;
  if (!lock || parent == nullptr || name == nullptr || !is_element(as_node(parent))) {
    return nullptr;
  }
  ErrorTrap const errors;
  xmlNode &element = *as_node(parent);
  XmlFault const fault = depth_of(&element) >= MAX_DEPTH ? "it would lie too deep"
                                                         : find_fault_in_place(element, name);
  if (fault != nullptr) {
    category().warn("Refused to create key '%s': %s", name, fault);
    return nullptr;
  }
  keep_words(*element.doc, name);
  NewNode made(xmlNewDocNode(element.doc, nullptr, xml(name), nullptr));
  if (made == nullptr || xmlAddChild(&element, made.get()) == nullptr) {
    return nullptr;
  }
  xmlNode const *const key = made.release();
  index_.reset();
  return commit && !save() ? nullptr : key;
} catch (std::bad_alloc const &) {
  return nullptr;
}

unsigned long XmlConfigSource::set_value(void const *key, char const *name, char const *text,
                                         bool commit) try {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (key == nullptr) {
    return RESULT_SUCCESS;
  }
  if (text == nullptr || !is_element(as_node(key))) {
    return RESULT_INVALID_ARGUMENT;
  }
  ErrorTrap const errors;
  xmlNode &element = *as_node(key);
  if (XmlFault const fault = find_value_fault(element, name, text); fault != nullptr) {
    category().warn("Refused to set value '%s' of key '%s': %s", name == nullptr ? "" : name,
                    plain(element.name), fault);
    return RESULT_INVALID_ARGUMENT;
  }
  if (name == nullptr) {
    index_.reset();
  }
  if (!(name == nullptr ? replace_content(element, text) : set_attribute(element, name, text))) {
    return RESULT_OUT_OF_MEMORY;
  }
  bool const is_written = !commit || main_document_.document == nullptr || save();
  return is_written ? RESULT_SUCCESS : RESULT_IO_ERROR;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::delete_key(void const *key) {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (key == nullptr || !is_element(as_node(key))) {
    return RESULT_INVALID_ARGUMENT;
  }
  index_.reset();
  xmlUnlinkNode(as_node(key));
  xmlFreeNode(as_node(key));
  return save() ? RESULT_SUCCESS : RESULT_IO_ERROR;
}

unsigned long XmlConfigSource::delete_value(void const *value) {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  xmlNode *const node = as_node(value);
  if (node == nullptr || !is_attribute(node) ||
      xmlRemoveProp(reinterpret_cast<xmlAttr *>(node)) != 0) {
    return RESULT_FAILURE;
  }
  return save() ? RESULT_SUCCESS : RESULT_IO_ERROR;
}

unsigned long XmlConfigSource::commit() {
  return save() ? RESULT_SUCCESS : RESULT_FAILURE;
}

bool XmlConfigSource::save() const try {
  SourceLock const lock;
  if (main_document_.document == nullptr) {
    return false;
  }
  xmlKeepBlanksDefault(0);
  char const *const path = main_document_.file_name.c_str();
  FaultText fault = {};
  Serialized const written = make_file_text(*main_document_.document, &fault);
  if (written.text == nullptr) {
    category().debug("Refused to save '%s': %s", path, fault.data());
    return false;
  }
  std::string_view const text = written.view();
  return Platform::replace_file(path, text.data(), text.size()) == RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return false;
}

// --- The end of a source ----------------------------------------------------------------------

XmlConfigSource::~XmlConfigSource() {
  {
    // The documents as well: the XML library frees them under a mutex of its own, which nobody must
    // hold while somebody forks.
    LoggedSourceLock const lock;
    adopt({});
    if (lock) {
      repositories_.clear();
      _instance_count -= is_counted_ ? 1 : 0;
    }
  }
}

unsigned long XmlConfigSource::create_source(CreateFilePath mode, char const *file_name,
                                             char const *root_name) try {
  if (mode == CREATE_RESERVED_1 || mode == CREATE_RESERVED_2) {
    return RESULT_NOT_IMPLEMENTED;
  }
  if (mode != CREATE_GIVEN_PATH || file_name == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string path = file_name;
  SourceLock const lock;
  ErrorTrap const errors;
  Document made(xmlNewDoc(xml("1.0")));
  if (made != nullptr) {
    made->dict = xmlDictCreate(); // as a parsed one has
  }
  if (made == nullptr || made->dict == nullptr) {
    category().warn("Failed to create new file %s", file_name);
    return RESULT_FAILURE;
  }
  adopt({nullptr, std::move(path)});
  bool const is_refused = root_name == nullptr || find_name_fault(root_name) != nullptr;
  NewNode root(is_refused ? nullptr : xmlNewDocNode(made.get(), nullptr, xml(root_name), nullptr));
  if (root == nullptr) {
    category().warn("Failed to create new root node in '%s'", file_name);
    return RESULT_FAILURE;
  }
  xmlDocSetRootElement(made.get(), root.release());
  main_document_.document = std::move(made);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::set_search_path(char const *path) try {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  std::vector<std::string> entries;
  if (path != nullptr) {
    entries = split_search_path(path);
  }
  entries.emplace_back(); // the current directory, and the name as it is
  search_path_ = std::move(entries);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::find_file(char const *name, std::string *found) try {
  if (name == nullptr || found == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  char const *const delimiter = Platform::get_path_delimiter();
  bool takes_name_as_it_is = false;
  std::vector<std::string> candidates;
  for (std::string const &entry : search_path_) {
    takes_name_as_it_is = takes_name_as_it_is || entry.empty();
    std::string candidate = entry.empty() ? "." : entry;
    if (*name != *delimiter) {
      candidate += delimiter;
    }
    candidate += name;
    unsigned long result = try_candidate(candidate, found);
    if (result == RESULT_NOT_FOUND && takes_name_as_it_is) {
      result = try_candidate(name, found);
    }
    if (result != RESULT_NOT_FOUND) {
      return result;
    }
    candidates.push_back(std::move(candidate));
  }
  for (std::string const &candidate : candidates) {
    category().warn("Unable to find file '%s'", candidate.c_str());
  }
  return RESULT_NOT_FOUND;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
