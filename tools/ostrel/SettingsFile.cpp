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

// Collects the first error from which the parser did not recover.
struct ParserErrors {
  std::string const *path;
  std::string const *text;
  std::vector<Finding> found;

  static void record(void *context, xmlError *error) {
    auto &errors = *static_cast<ParserErrors *>(context);
    if (error->level == XML_ERR_FATAL && errors.found.empty()) {
      errors.found.push_back(describe_parser_error(*error, *errors.path, *errors.text));
    }
  }
};

std::shared_ptr<xmlDoc> parse(std::string const &path, std::string const &text,
                              std::vector<Finding> *findings) {
  ParserErrors errors{&path, &text, {}};
  xmlSetStructuredErrorFunc(&errors, ParserErrors::record);
  std::shared_ptr<xmlDoc> document(xmlReadMemory(text.data(), static_cast<int>(text.size()),
                                                 path.c_str(), nullptr,
                                                 XML_PARSE_NONET | XML_PARSE_BIG_LINES),
                                   xmlFreeDoc);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  if (document == nullptr && errors.found.empty()) {
    errors.found.push_back(
        {path, 1, "the file is empty", "write the top element: <UserConfig>...</UserConfig>"});
  }
  findings->insert(findings->end(), errors.found.begin(), errors.found.end());
  return errors.found.empty() ? document : nullptr;
}

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

// Whether the library refuses a file that is well-formed: some files are more than it accepts from
// outside. Receives the reason.
bool is_refused(std::string const &path, std::string *reason) {
  LoggingCategory &category = LoggingCategory::get_instance(SOURCE_CATEGORY);
  LoggingPriority::PriorityLevel const priority = category.get_priority();
  category.set_priority(LoggingPriority::DEBUG);
  category.set_logging_output(new LastMessage(reason));
  XmlConfigSource source;
  source.set_search_path(nullptr);
  bool const is_loaded = source.init_source(path.c_str()) == RESULT_SUCCESS;
  category.set_logging_output(nullptr);
  category.set_priority(priority);
  return !is_loaded;
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
  element.has_namespace = node->ns != nullptr && node->ns->href != nullptr;
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
  if (!read_text(path, &text, &reason)) {
    findings->push_back({path, 0, "cannot be read: " + reason, "name a file that can be read"});
    return std::nullopt;
  }
  std::optional<Finding> const encoding = find_wrong_encoding(path, text);
  std::vector<Finding> errors;
  SettingsFile file{path, parse(path, text, &errors), {}};
  if (encoding) {
    findings->push_back(*encoding); // of which errors are only the consequence
  } else {
    findings->insert(findings->end(), errors.begin(), errors.end());
  }
  if (file.document == nullptr) {
    return std::nullopt;
  }
  if (is_refused(path, &reason)) {
    findings->push_back({path, 0, "well-formed, but refused by the library: " + reason,
                         "write it without declarations, and within the limits"});
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

} // namespace Ostrel::Tool
