// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/XmlFaults.hpp"

#include "tools/ostrel/Text.hpp"

#include <libxml/xmlerror.h>
#include <libxml/xmlstring.h>

#include <algorithm>

namespace Ostrel::Tool {

namespace {

constexpr char const *UTF8_MARK = "\xEF\xBB\xBF";

constexpr char const *WRONG_BYTES = "save the file as UTF-8, or declare the encoding that it has, "
                                    "such as encoding=\"ISO-8859-1\"";

struct Correction {
  int error;
  char const *instead;
};

constexpr Correction CORRECTIONS[] = {
    {XML_ERR_DOCUMENT_EMPTY, "write the top element"},
    {XML_ERR_DOCUMENT_END, "keep one top element, and move what follows into it"},
    {XML_ERR_INVALID_CHAR, "remove the control character"},
    {XML_ERR_INVALID_HEX_CHARREF, "write the character itself"},
    {XML_ERR_INVALID_DEC_CHARREF, "write the character itself"},
    {XML_ERR_INVALID_CHARREF, "write the character itself"},
    {XML_ERR_CHARREF_AT_EOF, "write the character itself"},
    {XML_ERR_ENTITYREF_SEMICOL_MISSING, "write &amp; for &"},
    {XML_ERR_UNDECLARED_ENTITY, "write the character itself, or &amp; for &"},
    {XML_WAR_UNDECLARED_ENTITY, "write the character itself, or &amp; for &"},
    {XML_ERR_UNKNOWN_ENCODING, "write encoding=\"UTF-8\", and save the file so"},
    {XML_ERR_UNSUPPORTED_ENCODING, "write encoding=\"UTF-8\", and save the file so"},
    {XML_ERR_INVALID_ENCODING, WRONG_BYTES},
    {XML_I18N_CONV_FAILED, WRONG_BYTES},
    {XML_ERR_LT_IN_ATTRIBUTE, "write the quote that ends the value, or &lt; for <"},
    {XML_ERR_ATTRIBUTE_NOT_STARTED, "write the value in straight quotes: name=\"value\""},
    {XML_ERR_ATTRIBUTE_NOT_FINISHED, "write the quote that ends the value"},
    {XML_ERR_ATTRIBUTE_WITHOUT_VALUE, "write name=\"value\""},
    {XML_ERR_ATTRIBUTE_REDEFINED, "remove one of the two"},
    {XML_ERR_SPACE_REQUIRED, "write a blank between attributes, and a quote at both ends of each "
                             "value"},
    {XML_ERR_COMMENT_NOT_FINISHED, "write --> at the end of the comment"},
    {XML_ERR_HYPHEN_IN_COMMENT, "write - for -- inside the comment"},
    {XML_ERR_CDATA_NOT_FINISHED, "write ]]> at its end"},
    {XML_ERR_RESERVED_XML_NAME, "remove what precedes <?xml"},
    {XML_ERR_STRING_NOT_STARTED, "write the value in straight quotes"},
    {XML_ERR_STRING_NOT_CLOSED, "write the quote that ends the value"},
    {XML_ERR_XMLDECL_NOT_FINISHED, "write <?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {XML_ERR_XMLDECL_NOT_STARTED, "write <?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {XML_ERR_UNKNOWN_VERSION, "write version=\"1.0\""},
    {XML_ERR_VERSION_MISSING, "write <?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {XML_ERR_GT_REQUIRED, "write > at the end of the tag, and a value in quotes for each name"},
    {XML_ERR_LTSLASH_REQUIRED, "write the tag that closes the element"},
    {XML_ERR_ENTITY_LOOP, "write the text for the entity"},
    {XML_ERR_INTERNAL_ERROR, "write fewer elements inside each other, and shorter texts"},
    {XML_ERR_NAME_REQUIRED, "write &lt; for a '<' that begins no tag, and names that begin with a "
                            "letter"},
};

std::string text_of(char const *text) {
  return text == nullptr ? "" : text;
}

// Where a line begins; the end of the text if it has fewer.
std::size_t find_line(std::string_view text, long line) {
  std::size_t start = 0;
  for (; line > 1 && start < text.size(); --line) {
    start = std::min(text.find('\n', start), text.size() - 1) + 1;
  }
  return start;
}

long line_of(std::string_view text, std::size_t position) {
  return 1 + std::count(text.begin(), text.begin() + static_cast<long>(position), '\n');
}

// A '<' in a value mostly means that an earlier line has a value without a quote at its end: an odd
// number of quotes in its last tag.
void look_for_missing_quote(std::string_view text, Finding *finding) {
  std::string_view const before = text.substr(0, find_line(text, finding->line));
  std::size_t const tag = std::min(before.rfind('<'), before.size());
  std::size_t const quote = before.find_last_of("\"'");
  bool const is_open =
      quote != before.npos && quote > tag &&
      std::count(before.begin() + static_cast<long>(tag), before.end(), before[quote]) % 2 != 0;
  if (is_open) {
    finding->line = line_of(text, quote);
    finding->what = "not well-formed: a value has no quote at its end";
    finding->instead = "write the quote that ends the value";
  }
}

// A comment, or the like, whose end is missing: the parser notices it at the end of the file.
void look_for_start(std::string_view text, char const *start, Finding *finding) {
  std::size_t const found = text.rfind(start);
  if (found != text.npos) {
    finding->line = line_of(text, found);
  }
}

std::size_t place_of(xmlError const &error, std::string_view text) {
  return find_line(text, error.line) + static_cast<std::size_t>(std::max(error.int2, 1)) - 1;
}

// A file that ends inside a tag was not written to its end.
void look_for_cut(xmlError const &error, std::string_view text, Finding *finding) {
  std::size_t const last = text.find_last_not_of(" \t\r\n"), tag = text.find_last_of("<>");
  if (tag != text.npos && text[tag] == '<' && place_of(error, text) > last) {
    finding->line = line_of(text, last);
    finding->what = "not well-formed: the file ends inside a tag";
    finding->instead = "restore the file, or write its end";
  }
}

void look_behind_end(xmlError const &error, std::string_view text, Finding *finding) {
  std::string_view const rest = text.substr(std::min(place_of(error, text), text.size()));
  if (starts_with(rest, "</")) {
    finding->instead = "remove this closing tag, or one above it";
  } else if (!starts_with(rest, "<")) {
    finding->instead = "remove what follows the top element";
  }
}

// Where a name or a blank is expected: behind '&' or '<', or in a tag, of which a '<' means that it
// has no end.
void look_at_place(xmlError const &error, std::string_view text, Finding *finding) {
  std::size_t const place = place_of(error, text);
  std::string_view const before = text.substr(0, place);
  char const next = place < text.size() ? text[place] : '\0';
  if (ends_with(before, "&")) {
    finding->instead = "write &amp; for &";
  } else if (!ends_with(before, "<") && (next == '<' || next == '/' || next == '\\')) {
    finding->instead = "write '/>' or '>' at its end";
    if (next == '<') {
      finding->line = line_of(text, std::min(before.find_last_not_of(" \t\r\n"), place));
      finding->what = "not well-formed: a tag has no end";
    }
  } else if (!ends_with(before, "<") && error.code == XML_ERR_NAME_REQUIRED) {
    finding->instead = "write name=\"value\", with a name that begins with a letter";
  }
}

void look_at_prefix(xmlError const &error, Finding *finding) {
  std::string const prefix = text_of(error.str1), name = text_of(error.str2);
  finding->what = "the prefix '" + prefix + "' of '" + name +
                  "' is not declared: it is a part of "
                  "the name";
  finding->instead = "write " + name + " without it";
}

void look_at_tags(xmlError const &error, Finding *finding) {
  std::string const opened = text_of(error.str1), closed = text_of(error.str2);
  if (is_misspelling(closed, opened)) {
    finding->instead = "write </" + opened + ">";
    return;
  }
  finding->what = "not well-formed: <" + opened + "> is not closed before </" + closed +
                  "> in line " + std::to_string(finding->line);
  finding->line = error.int1;
  finding->instead = "write '/>' at the end of the tag, or </" + opened + "> behind its contents";
}

bool is_utf8_name(std::string const &encoding) {
  return encoding == "utf-8" || encoding == "utf8";
}

// The encoding in the XML declaration, in lower case; empty if it declares none.
std::string declared_encoding(std::string_view text) {
  std::string_view declaration = text.substr(0, text.find("?>"));
  std::size_t const name = declaration.find("encoding");
  if (!starts_with(text, "<?xml") || name == declaration.npos) {
    return "";
  }
  declaration.remove_prefix(name);
  std::size_t const quote = declaration.find_first_of("\"'");
  if (quote == declaration.npos) {
    return "";
  }
  std::string_view const value = declaration.substr(quote + 1);
  return lower(value.substr(0, value.find(declaration[quote])));
}

bool is_beyond_ascii(char c) {
  constexpr unsigned char ASCII_END = 0x80;
  return static_cast<unsigned char>(c) >= ASCII_END;
}

// The control characters of ISO 8859, where Windows has quotes and dashes.
bool is_windows_sign(char c) {
  constexpr unsigned char CONTROLS_END = 0xA0;
  return is_beyond_ascii(c) && static_cast<unsigned char>(c) < CONTROLS_END;
}

bool is_utf8(std::string_view text) {
  return xmlCheckUTF8(reinterpret_cast<xmlChar const *>(std::string(text).c_str())) != 0;
}

// Whether a text is UTF-16 without a byte order mark: of the two bytes of '<', one is 0.
bool is_bare_utf16(std::string_view text) {
  return text.size() > 1 && (text[0] == '\0') != (text[1] == '\0');
}

std::string correction_of(xmlError const &error, std::string_view text) {
  if (error.code == XML_ERR_INVALID_CHAR && !is_utf8(text)) {
    return WRONG_BYTES;
  }
  auto const *const found =
      std::find_if(std::begin(CORRECTIONS), std::end(CORRECTIONS),
                   [&error](Correction const &known) { return known.error == error.code; });
  return found == std::end(CORRECTIONS) ? "correct the text there" : found->instead;
}

} // namespace

Finding describe_parser_error(xmlError const &error, std::string const &path,
                              std::string_view text) {
  std::string const whole = text_of(error.message);
  std::string const message(trimmed(whole.substr(0, whole.find('\n')))); // bytes may follow
  Finding finding{path, std::max(error.line, 1), "", correction_of(error, text)};
  finding.what = (error.level == XML_ERR_FATAL ? "not well-formed: " : "") + message + " (column " +
                 std::to_string(error.int2) + ")";
  switch (error.code) {
  case XML_ERR_TAG_NAME_MISMATCH:
    look_at_tags(error, &finding);
    break;
  case XML_ERR_TAG_NOT_FINISHED:
    finding.instead = "write </" + text_of(error.str1) + ">";
    break;
  case XML_ERR_LT_IN_ATTRIBUTE:
    look_for_missing_quote(text, &finding);
    break;
  case XML_ERR_COMMENT_NOT_FINISHED:
    look_for_start(text, "<!--", &finding);
    break;
  case XML_ERR_CDATA_NOT_FINISHED:
    look_for_start(text, "<![CDATA[", &finding);
    break;
  case XML_ERR_DOCUMENT_END:
    look_behind_end(error, text, &finding);
    break;
  case XML_ERR_NAME_REQUIRED:
  case XML_ERR_SPACE_REQUIRED:
    look_at_place(error, text, &finding);
    look_for_cut(error, text, &finding);
    break;
  case XML_NS_ERR_UNDEFINED_NAMESPACE:
    look_at_prefix(error, &finding);
    break;
  default:
    look_for_cut(error, text, &finding);
    break;
  }
  if (starts_with(text.substr(find_line(text, finding.line)), "<<<<<<<")) {
    finding.instead = "keep one of the two versions that a merge left in the file";
  }
  return finding;
}

std::optional<Finding> find_wrong_encoding(std::string const &path, std::string_view text) {
  if (is_bare_utf16(text)) {
    return Finding{path, 1, "the text is UTF-16 without a byte order mark",
                   "save the file as UTF-8"};
  }
  bool const has_mark = starts_with(text, UTF8_MARK);
  std::string const encoding = declared_encoding(has_mark ? text.substr(3) : text);
  if (encoding.empty() || is_utf8_name(encoding)) {
    return std::nullopt;
  }
  if (has_mark) {
    return Finding{path, 1,
                   "the file begins with the byte order mark of UTF-8, but declares the encoding " +
                       encoding,
                   "write encoding=\"UTF-8\""};
  }
  bool const is_iso = starts_with(encoding, "iso-8859") || encoding == "latin1";
  bool const is_ascii = encoding == "us-ascii" || encoding == "ascii";
  bool const is_wider = starts_with(encoding, "utf-16") || starts_with(encoding, "utf-32");
  // Characters beyond ASCII in another encoding are practically never all UTF-8.
  bool const is_other = (is_iso || is_ascii || starts_with(encoding, "windows-")) &&
                        std::any_of(text.begin(), text.end(), is_beyond_ascii);
  if ((is_wider || is_other) && is_utf8(text)) {
    return Finding{path, 1, "the text is UTF-8, but declares the encoding " + encoding,
                   "write encoding=\"UTF-8\""};
  }
  if (is_iso && std::any_of(text.begin(), text.end(), is_windows_sign)) {
    return Finding{path, 1, "the text has characters that " + encoding + " has not",
                   "write encoding=\"windows-1252\""};
  }
  return std::nullopt;
}

} // namespace Ostrel::Tool
