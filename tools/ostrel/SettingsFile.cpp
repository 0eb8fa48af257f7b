// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/SettingsFile.hpp"

#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"
#include "core/base/logging/LoggingPriority.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/TagLines.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/XmlFaults.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Ostrel::Tool {

namespace {

constexpr char const *SOURCE_CATEGORY = "Ostrel.Core.Base.XmlConfigSource";

struct FreeXmlText {
  void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, FreeXmlText>;

struct CloseFile {
  void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};

std::string text_of(xmlChar const *text) {
  return text == nullptr ? "" : reinterpret_cast<char const *>(text);
}

std::string text_of(xmlDoc *document, xmlNode const *nodes) {
  return text_of(XmlText(xmlNodeListGetString(document, nodes, 1)).get());
}

bool read_text(std::string const &path, std::string *text, std::string *reason) {
  FileStatus const status = status_of(path);
  if (status.exists && !status.is_regular) {
    *reason = "it is not a regular file";
    return false;
  }
  std::unique_ptr<std::FILE, CloseFile> const file(std::fopen(path.c_str(), "rb"));
  char part[1 << 16];
  std::size_t count = file == nullptr ? 0 : std::fread(part, 1, sizeof part, file.get());
  for (; count > 0; count = std::fread(part, 1, sizeof part, file.get())) {
    text->append(part, count);
  }
  bool const is_read = file != nullptr && std::ferror(file.get()) == 0;
  *reason = is_read ? "" : std::strerror(errno);
  return is_read;
}

// The parser's input, a part at a time as in the library: the parser refuses more than 10 MB at
// once.
int read_part(void *context, char *buffer, int size) noexcept {
  auto &rest = *static_cast<std::string_view *>(context);
  std::size_t const count = rest.copy(buffer, static_cast<std::size_t>(size));
  rest.remove_prefix(count);
  return static_cast<int>(count);
}

// Collects the first error from which the parser did not recover; else names that it left as they
// are: prefixes and entities that are not declared.
struct ParserErrors {
  std::string const &path;
  std::string_view text;
  std::vector<Finding> found;
  bool is_fatal = false;

  static void record(void *context, xmlError *error) {
    auto &errors = *static_cast<ParserErrors *>(context);
    bool const is_fatal = error->level == XML_ERR_FATAL;
    bool const is_name =
        error->code == XML_NS_ERR_UNDEFINED_NAMESPACE || error->code == XML_WAR_UNDECLARED_ENTITY;
    if (errors.is_fatal || (!is_fatal && !is_name)) {
      return;
    }
    if (is_fatal) {
      errors.found.clear(); // the others may be its consequence
    }
    errors.found.push_back(describe_parser_error(*error, errors.path, errors.text));
    errors.is_fatal = is_fatal;
  }
};

// Keeps the last message of a category instead of writing it.
class LastMessage : public LoggingOutputImpl {
public:
  explicit LastMessage(std::string *message) : message_(message) {}
  void write(LoggingEvent const &event) override {
    if (event.priority >= LoggingPriority::DEBUG) {
      *message_ = event.message;
    }
  }

private:
  std::string *message_;
};

// Loads a file as the library does; null, with the reason, which no operation returns, on failure.
std::shared_ptr<XmlConfigSource> load(std::string const &path, std::string *reason) {
  LoggingCategory &category = LoggingCategory::get_instance(SOURCE_CATEGORY);
  LoggingPriority::PriorityLevel const priority = category.get_priority();
  category.set_priority(LoggingPriority::DEBUG);
  category.set_logging_output(new LastMessage(reason));
  auto source = std::make_shared<XmlConfigSource>();
  source->set_search_path(nullptr);
  bool const is_loaded = source->init_source(path.c_str()) == RESULT_SUCCESS;
  category.set_logging_output(nullptr);
  category.set_priority(priority);
  return is_loaded ? source : nullptr;
}

// Of the first character that is no blank. The parser knows the line of the last one.
long line_of_text(xmlNode const *node, std::string const &text) {
  std::size_t const first = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  return xmlGetLineNo(node) - std::count(text.begin() + static_cast<long>(first), text.end(), '\n');
}

Element make_element(xmlDoc *document, xmlNode const *node) {
  Element element;
  element.name = text_of(node->name);
  element.line = std::max(xmlGetLineNo(node), 0L);
  element.space = node->ns == nullptr ? "" : text_of(node->ns->href);
  element.node = node;
  for (xmlAttr const *attribute = node->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (attribute->ns == nullptr) {
      element.attributes.push_back(
          {text_of(attribute->name), text_of(document, attribute->children), element.line});
    }
  }
  for (xmlNode const *child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE) {
      element.elements.push_back(make_element(document, child));
    } else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
      std::string const text = text_of(child->content);
      element.text_line =
          trimmed(element.text).empty() ? line_of_text(child, text) : element.text_line;
      element.text += text;
    }
  }
  element.text = trimmed(element.text);
  return element;
}

std::size_t count_elements(Element const &element) {
  std::size_t count = 1;
  for (Element const &child : element.elements) {
    count += count_elements(child);
  }
  return count;
}

void set_lines(Element *element, std::vector<TagLines>::const_iterator *tag) {
  TagLines const &lines = *(*tag)++;
  element->line = lines.line;
  for (Attribute &attribute : element->attributes) {
    auto const found = lines.values.find(attribute.name);
    attribute.line = found == lines.values.end() ? lines.line : found->second;
  }
  for (Element &child : element->elements) {
    set_lines(&child, tag);
  }
}

// Reads a text; nothing if it is not well formed.
std::optional<SettingsFile> parse(std::string const &path, std::string_view text, int options,
                                  std::vector<Finding> *findings) {
  ParserErrors errors{path, text, {}};
  std::string_view rest = text;
  xmlSetStructuredErrorFunc(&errors, ParserErrors::record);
  SettingsFile file{path, nullptr, nullptr, {}};
  file.document.reset(xmlReadIO(read_part, nullptr, &rest, path.c_str(), nullptr,
                                options | XML_PARSE_NONET | XML_PARSE_BIG_LINES),
                      xmlFreeDoc);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  if (file.document == nullptr && !errors.is_fatal) {
    errors.found.push_back({path, 1, "the file is empty", "write the top element"});
  }
  findings->insert(findings->end(), errors.found.begin(), errors.found.end());
  if (file.document == nullptr || errors.is_fatal) {
    return std::nullopt;
  }
  file.root = make_element(file.document.get(), xmlDocGetRootElement(file.document.get()));
  // Fewer or more tags than elements: the text is in UTF-16, or has elements in its entities.
  std::vector<TagLines> const tags = find_tag_lines(text);
  if (tags.size() == count_elements(file.root)) {
    auto tag = tags.begin();
    set_lines(&file.root, &tag);
  }
  return file;
}

bool read_text_or_report(std::string const &path, std::string *text,
                         std::vector<Finding> *findings) {
  std::string reason;
  bool const is_read = read_text(path, text, &reason);
  if (!is_read) {
    findings->push_back({path, 0, "cannot be read: " + reason, "name a file that can be read"});
  }
  return is_read;
}

} // namespace

Attribute const *Element::find_attribute(std::string const &attribute) const {
  auto const found =
      std::find_if(attributes.begin(), attributes.end(),
                   [&attribute](Attribute const &known) { return known.name == attribute; });
  return found == attributes.end() ? nullptr : &*found;
}

Element const *Element::find_element(std::string const &element, long index) const {
  for (Element const &child : elements) {
    if ((element.empty() || child.name == element) && index-- <= 0) {
      return &child;
    }
  }
  return nullptr;
}

std::optional<SettingsFile> read_settings_file(std::string const &path,
                                               std::vector<Finding> *findings) {
  std::string text, reason;
  if (!read_text_or_report(path, &text, findings)) {
    return std::nullopt;
  }
  std::shared_ptr<XmlConfigSource> const source = load(path, &reason);
  // Of a file that the library refuses, the entities may expand to too much.
  int const options = source == nullptr ? 0 : XML_PARSE_NOENT;
  std::vector<Finding> faults;
  std::optional<SettingsFile> file = parse(path, text, options, &faults);
  if (std::optional<Finding> const encoding = find_wrong_encoding(path, text)) {
    faults = {*encoding}; // of which the others are only the consequence
  }
  findings->insert(findings->end(), faults.begin(), faults.end());
  if (file) {
    file->source = source;
  }
  if (file && source == nullptr) {
    findings->push_back({path, 0, "well-formed, but refused by the library: " + reason,
                         "write it without declarations, and within the limits"});
    return std::nullopt;
  }
  return file;
}

std::optional<SettingsFile> read_schema_file(std::string const &path,
                                             std::vector<Finding> *findings) {
  std::string text;
  return read_text_or_report(path, &text, findings) ? parse(path, text, 0, findings) : std::nullopt;
}

} // namespace Ostrel::Tool
