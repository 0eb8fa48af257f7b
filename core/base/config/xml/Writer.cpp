// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/xml/Writer.hpp"

#include "core/base/config/xml/Reader.hpp"
#include "core/base/config/xml/XmlLibrary.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"

#include <new>
#include <string_view>
#include <utility>

namespace Ostrel {

namespace {

constexpr char UTF_8[] = "UTF-8";

struct FileText {
  std::string_view view() const { return {as_text(text.get()), static_cast<std::size_t>(size)}; }

  XmlText text;         // null if it cannot be written
  int size = 0;         // bytes
  XmlDocument reloaded; // from the text
};

// @param encoding  null for the document's own.
FileText serialize(XmlDocument const &document, char const *encoding) {
  ErrorTrap const errors;
  xmlChar *text = nullptr;
  FileText result;
  xmlDocDumpFormatMemoryEnc(document.get(), &text, &result.size, encoding, /*format=*/1);
  result.text.reset(text);
  if (errors.lacked_memory()) {
    throw std::bad_alloc();
  }
  return result;
}

// The text of the file; null, with the reason in `fault`, if it cannot be loaded. The document
// keeps its encoding if that is read back the same as UTF-8: characters that the encoding lacks can
// be read back as another text.
FileText make_file_text(XmlDocument const &document, std::string *fault) {
  xmlChar const *const encoding = document.get()->encoding; // null for none
  bool const is_converted = encoding != nullptr && xmlStrcasecmp(encoding, as_xml(UTF_8)) != 0;
  FileText written = serialize(document, is_converted ? UTF_8 : nullptr);
  XmlReading again = read_xml_text(written.view());
  if (!again.document) {
    *fault = std::move(again.fault);
    return {};
  }
  if (is_converted) {
    FileText kept = serialize(document, nullptr);
    XmlReading kept_again = read_xml_text(kept.view());
    if (kept_again.document &&
        serialize(kept_again.document, UTF_8).view() == serialize(again.document, UTF_8).view()) {
      kept.reloaded = std::move(kept_again.document);
      return kept;
    }
  }
  written.reloaded = std::move(again.document);
  return written;
}

xmlNode *first_element_from(xmlNode *node) {
  while (node != nullptr && !is_element(*node)) {
    node = next_in_file(node);
  }
  return node;
}

// Copies the lines of the elements. The elements of both documents are the same.
void copy_lines(XmlDocument const &from, XmlDocument const &to) {
  xmlNode *source = from.root(), *target = to.root();
  while (source != nullptr && target != nullptr) {
    target->line = source->line;
    source = first_element_from(next_in_file(source));
    target = first_element_from(next_in_file(target));
  }
}

} // namespace

void set_xml_layout() noexcept {
  xmlIndentTreeOutput = 1;
  xmlKeepBlanksDefault(0);
}

bool write_xml_file(XmlDocument const &document, char const *path, std::string *fault) {
  set_xml_layout();
  FileText const written = make_file_text(document, fault);
  std::string_view const text = written.view();
  bool const is_written = written.text != nullptr &&
                          Platform::replace_file(path, text.data(), text.size()) == RESULT_SUCCESS;
  if (is_written) {
    copy_lines(written.reloaded, document);
  }
  return is_written;
}

XmlDocument copy_xml_document(XmlDocument const &document, std::string *fault) {
  set_xml_layout();
  return make_file_text(document, fault).reloaded;
}

} // namespace Ostrel
