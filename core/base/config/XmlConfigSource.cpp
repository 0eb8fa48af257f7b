// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/XmlConfigSource.hpp"

#include "core/base/config/KeyIndex.hpp"
#include "core/base/config/XmlText.hpp"
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/valid.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>
#include <utility>

namespace Ostrel {

namespace {

constexpr char CATEGORY_NAME[] = "Ostrel.Core.Base.XmlConfigSource";

LoggingCategory &category() {
  static LoggingCategory &instance = LoggingCategory::get_instance(CATEGORY_NAME);
  return instance;
}

// Once, before any thread of the host can be in the parser. It is never cleaned up: the host may
// use the XML library as well.
bool initialise_parser() noexcept {
  xmlInitParser();
  return true;
}

[[maybe_unused]] bool const parser_is_ready = initialise_parser();

// --- The lock of all sources ------------------------------------------------------------------

// Made by the first source and gone with the last one.
std::atomic<IMutex *> source_mutex{nullptr};

// Guards the making and the end of source_mutex, which cannot guard themselves. Taken before it.
std::mutex lifetime_mutex;

class SourceLock {
public:
  SourceLock() : lock_(source_mutex.load(std::memory_order_acquire)) {
    // The second attempt follows an owner that ended inside: the first one only tells of it.
    is_held_ = lock_.acquire();
    if (!is_held_) {
      LoggingCategory::get_instance(CATEGORY_NAME).warn("Could not obtain mutex lock");
    }
  }

  explicit operator bool() const noexcept { return is_held_; }

  void release() { lock_.release(); }

private:
  AcquirableLock lock_;
  bool is_held_;
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

struct FreeParsed {
  void operator()(xmlDoc *document) const noexcept { xmlFreeDoc(document); }
};
using ParsedDocument = std::unique_ptr<xmlDoc, FreeParsed>;

struct Serialized {
  XmlString text;
  int size = 0;

  bool operator==(Serialized const &other) const {
    return size == other.size && std::memcmp(text.get(), other.text.get(), std::size_t(size)) == 0;
  }
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

bool is_element(xmlNode const *node) {
  return node->type == XML_ELEMENT_NODE;
}

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
  char const *first() const { return first_; }

private:
  static void record(void *trap, xmlError *error) noexcept {
    char(&first)[MESSAGE_SIZE] = static_cast<ErrorTrap *>(trap)->first_;
    if (first[0] != '\0' || error == nullptr) {
      return;
    }
    char const *message = error->message == nullptr ? "unknown error" : error->message;
    int const length = static_cast<int>(std::strcspn(message, "\n")); // it ends in a line feed
    ovra_snprintf(first, MESSAGE_SIZE, "line %d, column %d: %.*s", error->line, error->int2, length,
                  message);
  }

  static constexpr unsigned int MESSAGE_SIZE = 512;

  xmlStructuredErrorFunc handler_;
  void *context_;
  char first_[MESSAGE_SIZE] = "";
};

// --- Reading ----------------------------------------------------------------------------------

constexpr unsigned long long LEAST_EXPANSION = 1000000;   // bytes that any file's entities may have
constexpr unsigned long long EXPANSION_TO_FILE_SIZE = 10; // or so many times the size of the file
constexpr int MAX_ENTITY_NESTING = 40;                    // the parser's own limit

// References in all, when one to a parameter entity is met. From 10,240 on the parser may refuse
// such a file itself, and then hangs (libxml2 2.9.14).
constexpr unsigned long MAX_PARAMETER_REFERENCES = 10000;

// What a file may make the parser do. One for each parse, reached through the parser's `_private`.
class ParseLimits {
public:
  explicit ParseLimits(unsigned long long file_size)
      : allowance_(std::max(LEAST_EXPANSION, file_size > UINT64_MAX / EXPANSION_TO_FILE_SIZE
                                                 ? UINT64_MAX
                                                 : file_size * EXPANSION_TO_FILE_SIZE)) {}

  static ParseLimits &of(xmlParserCtxt *parser) {
    return *static_cast<ParseLimits *>(parser->_private);
  }

  // Why the file is refused; null when it is not. The parser's own verdict may be good all the
  // same: it counts what it was stopped at as the end.
  char const *refusal() const { return refusal_; }

  void refuse(xmlParserCtxt *parser, char const *reason) noexcept {
    refusal_ = reason;
    xmlStopParser(parser);
  }

  // Counts the text that a reference is about to be replaced by; false when that is too much.
  bool expand(xmlParserCtxt *parser, unsigned long long size) noexcept {
    if (size > allowance_ - used_) {
      refuse(parser, "its entities expand to too much");
      return false;
    }
    used_ += size;
    return true;
  }

  // The size of an entity with everything that it refers to, as far as it matters.
  unsigned long long expanded_size(xmlDoc *document, xmlEntity *entity, int nesting = 0) {
    if (nesting > MAX_ENTITY_NESTING) {
      return allowance_ + 1;
    }
    // An entity that contains itself meets the 0 here; the parser refuses it.
    auto const [known, is_new] = sizes_.emplace(entity, 0);
    if (!is_new) {
      return known->second;
    }
    std::string_view content = plain(entity->content);
    unsigned long long size = content.size();
    for (std::size_t at = content.find('&'); at != content.npos; at = content.find('&', at + 1)) {
      std::string const name(content.substr(at + 1, content.find(';', at) - at - 1));
      xmlEntity *inner = xmlGetDocEntity(document, xml(name.c_str()));
      if (inner != nullptr && inner->etype == XML_INTERNAL_GENERAL_ENTITY && size <= allowance_) {
        size += expanded_size(document, inner, nesting + 1);
      }
    }
    return sizes_[entity] = size;
  }

  bool has_long_blanks = false; // the parser has kept some that are to be dropped

private:
  unsigned long long allowance_;
  unsigned long long used_ = 0;
  char const *refusal_ = nullptr;
  std::unordered_map<xmlEntity *, unsigned long long> sizes_;
};

// The parser hands long blanks on in pieces, and takes a piece that no element follows for text. It
// always sees so many bytes ahead (its INPUT_CHUNK), so that shorter blanks are never cut.
constexpr int UNCUT_BLANKS = INPUT_CHUNK;

bool is_blank(xmlChar const *text, int size) {
  return std::all_of(text, text + size, [](xmlChar c) { return IS_BLANK_CH(c); });
}

// Whether an entity that the parser asks for is about to be replaced by its text. Otherwise it is
// not there, or has just been declared: the parser then asks for it to store its `orig`.
bool is_referred_to(xmlEntity const *entity) {
  return entity != nullptr && entity->orig != nullptr;
}

extern "C" {

static xmlEntity *get_entity(void *context, xmlChar const *name) noexcept try {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  xmlEntity *entity = xmlSAX2GetEntity(parser, name);
  // Deeper ones are part of what was counted at the outermost reference.
  if (is_referred_to(entity) && parser->depth == 0) {
    ParseLimits &limits = ParseLimits::of(parser);
    // A stopped parser would go on with an entity that it is given.
    return limits.expand(parser, limits.expanded_size(parser->myDoc, entity)) ? entity : nullptr;
  }
  return entity;
} catch (std::bad_alloc const &) {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  ParseLimits::of(parser).refuse(parser, "there is no memory to measure its entities");
  return nullptr;
}

static xmlEntity *get_parameter_entity(void *context, xmlChar const *name) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  xmlEntity *entity = xmlSAX2GetParameterEntity(parser, name);
  if (!is_referred_to(entity)) {
    return entity;
  }
  ParseLimits &limits = ParseLimits::of(parser);
  if (parser->nbentities > MAX_PARAMETER_REFERENCES) {
    limits.refuse(parser, "it has too many parameter entity references");
    return nullptr;
  }
  auto const length = static_cast<unsigned long long>(std::max(entity->length, 1));
  return limits.expand(parser, length) ? entity : nullptr;
}

static void declare_entity(void *context, xmlChar const *name, int type, xmlChar const *public_id,
                           xmlChar const *system_id, xmlChar *content) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  if (type != XML_INTERNAL_GENERAL_ENTITY && type != XML_INTERNAL_PARAMETER_ENTITY) {
    ParseLimits::of(parser).refuse(parser, "it declares an external entity");
    return;
  }
  xmlSAX2EntityDecl(parser, name, type, public_id, system_id, content);
}

static void declare_unparsed_entity(void *context, xmlChar const *, xmlChar const *,
                                    xmlChar const *, xmlChar const *) noexcept {
  auto *parser = static_cast<xmlParserCtxt *>(context);
  ParseLimits::of(parser).refuse(parser, "it declares an external entity");
}

static xmlParserInput *resolve_nothing(void *, xmlChar const *, xmlChar const *) noexcept {
  return nullptr;
}

static void ignore_external_subset(void *, xmlChar const *, xmlChar const *,
                                   xmlChar const *) noexcept {}

static void take_characters(void *context, xmlChar const *text, int size) noexcept {
  if (size >= UNCUT_BLANKS && is_blank(text, size)) {
    ParseLimits::of(static_cast<xmlParserCtxt *>(context)).has_long_blanks = true;
  }
  xmlSAX2Characters(context, text, size);
}

} // extern "C"

void limit_parser(xmlParserCtxt &parser, ParseLimits &limits) {
  parser._private = &limits;
  parser.sax->getEntity = get_entity;
  parser.sax->getParameterEntity = get_parameter_entity;
  parser.sax->entityDecl = declare_entity;
  parser.sax->unparsedEntityDecl = declare_unparsed_entity;
  parser.sax->resolveEntity = resolve_nothing;
  parser.sax->externalSubset = ignore_external_subset;
  parser.sax->characters = take_characters;
}

bool is_blank_text(xmlNode const *node) {
  return node->type == XML_TEXT_NODE && is_blank(node->content, xmlStrlen(node->content));
}

// Drops the blank text between the elements inside this one. As everywhere, an element that begins
// with text keeps all its blanks, and so does one that holds nothing else.
void drop_blanks(xmlNode &parent) {
  xmlNode *first = parent.children;
  bool const begins_with_text = first != nullptr && xmlNodeIsText(first) != 0;
  bool const holds_only_blanks = first != nullptr && first->next == nullptr;
  if (holds_only_blanks || (begins_with_text && !is_blank_text(first)) ||
      xmlNodeGetSpacePreserve(&parent) == 1) {
    return;
  }
  for (xmlNode *node = first; node != nullptr;) {
    xmlNode *const next = node->next;
    if (is_blank_text(node)) {
      xmlUnlinkNode(node);
      xmlFreeNode(node);
    }
    node = next;
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

void drop_long_blanks(xmlDoc &document) {
  for (xmlNode *node = xmlDocGetRootElement(&document); node != nullptr;
       node = next_in_file(node)) {
    if (is_element(node)) {
      drop_blanks(*node);
    }
  }
}

// Parses what `read` gives; null when it does not parse, which has been told at debug level then.
ParsedDocument parse(xmlInputReadCallback read, void *input, unsigned long long size) {
  Parser const parser(xmlNewParserCtxt());
  if (parser == nullptr) {
    return nullptr;
  }
  ParseLimits limits(size);
  limit_parser(*parser, limits);
  ErrorTrap const errors;
  ParsedDocument document(xmlCtxtReadIO(parser.get(), read, nullptr, input, nullptr, nullptr,
                                        XML_PARSE_NOBLANKS | XML_PARSE_NOENT | XML_PARSE_NONET));
  if (document == nullptr || limits.refusal() != nullptr) {
    category().debug("%s", limits.refusal() != nullptr ? limits.refusal() : errors.first());
    return nullptr;
  }
  if (limits.has_long_blanks) {
    drop_long_blanks(*document);
  }
  return document;
}

extern "C" {

static int read_file(void *file, char *buffer, int size) noexcept {
  std::size_t count = 0;
  bool const is_read =
      static_cast<File *>(file)->read(buffer, static_cast<std::size_t>(size), &count);
  return is_read ? static_cast<int>(count) : -1;
}

static int read_memory(void *rest, char *buffer, int size) noexcept {
  auto &text = *static_cast<std::string_view *>(rest);
  std::size_t const count = text.copy(buffer, static_cast<std::size_t>(size));
  text.remove_prefix(count);
  return static_cast<int>(count);
}

} // extern "C"

ParsedDocument parse_file(char const *path) {
  File file;
  return file.open_for_reading(path) ? parse(read_file, &file, file.size()) : nullptr;
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

Serialized serialize(xmlDoc &document, char const *encoding) {
  WriterSettings const settings;
  ErrorTrap const errors;
  xmlChar *text = nullptr;
  Serialized result;
  xmlDocDumpFormatMemoryEnc(&document, &text, &result.size, encoding, /*format=*/1);
  result.text.reset(text);
  return result;
}

bool is_utf_8(xmlDoc const &document) {
  return document.encoding != nullptr && xmlStrcasecmp(document.encoding, xml(UTF_8)) == 0;
}

// Whether the next load gets out of the text what the document holds.
bool reads_back(Serialized const &written, xmlDoc &document) {
  if (written.text == nullptr || written.size <= 0) {
    return false;
  }
  std::string_view text(plain(written.text.get()), static_cast<std::size_t>(written.size));
  ParsedDocument const again = parse(read_memory, &text, text.size());
  if (again == nullptr || xmlDocGetRootElement(again.get()) == nullptr) {
    return false;
  }
  bool const needs_no_conversion = document.encoding == nullptr || is_utf_8(document);
  return needs_no_conversion || serialize(*again, UTF_8) == serialize(document, UTF_8);
}

// The text of the file, in the encoding that the document declares if that can hold it; empty when
// no text would read back.
Serialized make_file_text(xmlDoc &document) {
  for (char const *encoding : {plain(document.encoding), UTF_8}) {
    Serialized written = serialize(document, *encoding == '\0' ? nullptr : encoding);
    if (reads_back(written, document)) {
      return written;
    }
  }
  return {};
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

// Writes all text inside an element or an attribute; false when it cannot be had.
bool read_content(xmlNode *node, std::string *text) {
  xmlNode const *first = node->children;
  if (first == nullptr) {
    text->clear();
    return true;
  }
  if (first->type == XML_TEXT_NODE && first->next == nullptr) { // nearly always: spares a copy
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

constexpr int MAX_DEPTH = 257; // elements inside each other that the parser takes; the root counts

int depth_of(xmlNode const *node) {
  int depth = 0;
  for (; node != nullptr && is_element(node); node = node->parent) {
    ++depth;
  }
  return depth;
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
  struct FreeBuffer {
    void operator()(xmlBuffer *buffer) const noexcept { xmlBufferFree(buffer); }
  };
  using Buffer = std::unique_ptr<xmlBuffer, FreeBuffer>;
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
  return fits_encoding(*element.doc, name) ? nullptr : "the file's encoding lacks a character";
}

// The parser holds a start tag in one buffer, for which it has a limit of 10,000,000 bytes; some of
// what stands in front may be in there as well.
constexpr std::size_t MAX_START_TAG_BYTES = 9990000;

// An upper bound, from lengths alone, of the bytes that a text takes in a file: most for `"`.
constexpr std::size_t MOST_BYTES_PER_BYTE = sizeof("&quot;") - 1;
constexpr std::size_t ATTRIBUTE_FRAME_BYTES = sizeof(" =\"\"") - 1;

// The bytes of the element's start tag in the file with the attribute set to the text, as
// `measure_text` counts those of one text.
template <class MeasureText>
std::size_t measure_start_tag(xmlNode &element, char const *name, char const *text,
                              MeasureText measure_text) {
  std::size_t bytes = std::strlen(plain(element.name)) + std::strlen(name) + ATTRIBUTE_FRAME_BYTES +
                      measure_text(text);
  for (xmlAttr *attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
    if (std::strcmp(plain(attribute->name), name) != 0) {
      std::string value;
      read_content(as_node(attribute), &value);
      bytes += std::strlen(plain(attribute->name)) + ATTRIBUTE_FRAME_BYTES + measure_text(value);
    }
  }
  return bytes;
}

bool fits_start_tag(xmlNode &element, char const *name, char const *text) {
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
  if (XmlFault const fault = find_fault_in_place(element, name); fault != nullptr) {
    return fault;
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

} // namespace

void XmlConfigSource::FreeDocument::operator()(_xmlDoc *document) const noexcept {
  xmlFreeDoc(document);
}

int XmlConfigSource::_instance_count = 0;

// --- Construction and loading -----------------------------------------------------------------

XmlConfigSource::XmlConfigSource() {
  xmlIndentTreeOutput = 1;
  xmlKeepBlanksDefault(0);
  {
    std::lock_guard<std::mutex> const lifetime(lifetime_mutex);
    if (source_mutex.load(std::memory_order_relaxed) == nullptr) {
      source_mutex.store(Platform::create_mutex(true), std::memory_order_release);
    }
    SourceLock const lock;
    if (!lock) {
      return;
    }
    ++_instance_count;
    is_counted_ = true;
  }
  std::string path;
  if (Platform::get_system_property(Platform::CONFIG_PATH, &path) != RESULT_SUCCESS) {
    category().warn("Failed to determine system configuration path");
    return;
  }
  set_search_path(path.c_str());
}

unsigned long XmlConfigSource::init_source(void const *file) try {
  auto const *const file_name = static_cast<char const *>(file);
  SourceLock const lock;
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

// Needs the source mutex held.
unsigned long XmlConfigSource::load(std::string path) {
  index_.reset();
  DocumentRecord previous = std::exchange(main_document_, {});
  main_document_.file_name = std::move(path);
  main_document_.document.reset(parse_file(main_document_.file_name.c_str()).release());
  if (main_document_.document == nullptr) {
    category().warn("Failed to parse config file %s", main_document_.file_name.c_str());
    return RESULT_FAILURE;
  }
  xmlNode const *top_key = xmlDocGetRootElement(main_document_.document.get());
  if (top_key == nullptr) {
    category().warn("Invalid Root node in xml file %s; aborting parse",
                    main_document_.file_name.c_str());
    main_document_ = std::move(previous);
    return RESULT_FAILURE;
  }
  config_root_ = root_of(*top_key);
  return RESULT_SUCCESS;
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
  SourceLock const lock;
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
  record.document.reset(parse_file(record.file_name.c_str()).release());
  if (record.document == nullptr) {
    category().warn("Failed to parse config file %s", record.file_name.c_str());
    return nullptr;
  }
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
  SourceLock const lock;
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
  SourceLock const lock;
  if (!lock || name == nullptr) {
    return nullptr;
  }
  return report_key(key == nullptr ? top_key() : first_element(as_node(key)->children), name);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_next(void const *key, std::string *name) const try {
  SourceLock const lock;
  if (!lock || key == nullptr || name == nullptr) {
    return nullptr;
  }
  return report_key(first_element(as_node(key)->next), name);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_first_value(void const *key, std::string *name,
                                              std::string *text) const try {
  SourceLock const lock;
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
  SourceLock const lock;
  if (!lock || value == nullptr || name == nullptr || text == nullptr) {
    return nullptr;
  }
  xmlNode const *node = as_node(value);
  xmlAttr *const next =
      is_element(node) ? node->properties : reinterpret_cast<xmlAttr const *>(node)->next;
  return report_attribute(next, name, text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_indexed_sub_key(void const *key, char const *name,
                                                  int index) const {
  if (key == nullptr || name == nullptr || index < 0) {
    return nullptr;
  }
  xmlNode *node = first_element(as_node(key)->children);
  for (; node != nullptr; node = first_element(node->next)) {
    if (std::strcmp(plain(node->name), name) == 0 && index-- == 0) {
      break;
    }
  }
  return node;
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
  if (!is_element(as_node(value))) {
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

void const *XmlConfigSource::search_sub_key(void const *key, std::string_view name,
                                            unsigned int index) const {
  SourceLock const lock;
  if (!lock) {
    return nullptr;
  }
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
  std::string found_name;
  if (name == nullptr || *name == '\0') {
    return find_first_value(key, &found_name, text);
  }
  SourceLock const lock;
  if (!lock || key == nullptr) {
    return nullptr;
  }
  return report_attribute(find_attribute(*as_node(key), name), &found_name, text);
}

_xmlNode *XmlConfigSource::top_key() const {
  return main_document_.document == nullptr ? nullptr
                                            : xmlDocGetRootElement(main_document_.document.get());
}

// --- Editing ----------------------------------------------------------------------------------

void const *XmlConfigSource::create_key(void const *parent, char const *name, bool commit) try {
  SourceLock const lock;
  if (!lock || parent == nullptr || name == nullptr || !is_element(as_node(parent))) {
    return nullptr;
  }
  xmlNode &element = *as_node(parent);
  XmlFault const fault = depth_of(&element) >= MAX_DEPTH ? "it would lie too deep"
                                                         : find_fault_in_place(element, name);
  if (fault != nullptr) {
    category().warn("Refused to create key '%s': %s", name, fault);
    return nullptr;
  }
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
  SourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (key == nullptr) {
    return RESULT_SUCCESS;
  }
  if (text == nullptr || !is_element(as_node(key))) {
    return RESULT_INVALID_ARGUMENT;
  }
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
  SourceLock const lock;
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
  SourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (value == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  xmlNode *const node = as_node(value);
  if (node->type != XML_ATTRIBUTE_NODE || xmlRemoveProp(reinterpret_cast<xmlAttr *>(node)) != 0) {
    return RESULT_FAILURE;
  }
  return save() ? RESULT_SUCCESS : RESULT_IO_ERROR;
}

unsigned long XmlConfigSource::commit() {
  return save() ? RESULT_SUCCESS : RESULT_FAILURE;
}

bool XmlConfigSource::save() {
  if (main_document_.document == nullptr) {
    return false;
  }
  xmlKeepBlanksDefault(0);
  Serialized const text = make_file_text(*main_document_.document);
  return text.text != nullptr &&
         Platform::replace_file(main_document_.file_name.c_str(), plain(text.text.get()),
                                static_cast<std::size_t>(text.size)) == RESULT_SUCCESS;
}

// --- The end of a source ----------------------------------------------------------------------

XmlConfigSource::~XmlConfigSource() {
  std::lock_guard<std::mutex> const lifetime(lifetime_mutex);
  SourceLock lock;
  if (!lock || !is_counted_) {
    return;
  }
  repositories_.clear();
  if (--_instance_count == 0) {
    lock.release();
    delete source_mutex.exchange(nullptr);
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
  std::string name_copy = file_name;
  ParsedDocument made(xmlNewDoc(xml("1.0")));
  if (made == nullptr) {
    category().warn("Failed to create new file %s", file_name);
    return RESULT_FAILURE;
  }
  index_.reset();
  main_document_.file_name = std::move(name_copy);
  main_document_.document = nullptr;
  bool const is_refused = root_name == nullptr || find_name_fault(root_name) != nullptr;
  NewNode root(is_refused ? nullptr : xmlNewDocNode(made.get(), nullptr, xml(root_name), nullptr));
  if (root == nullptr) {
    category().warn("Failed to create new root node in '%s'", file_name);
    return RESULT_FAILURE;
  }
  xmlDocSetRootElement(made.get(), root.release());
  main_document_.document.reset(made.release());
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::set_search_path(char const *path) try {
  SourceLock const lock;
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
    if (Platform::file_exists(candidate.c_str()) == RESULT_SUCCESS) {
      *found = std::move(candidate);
      return RESULT_SUCCESS;
    }
    if (takes_name_as_it_is && Platform::file_exists(name) == RESULT_SUCCESS) {
      *found = name;
      return RESULT_SUCCESS;
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
