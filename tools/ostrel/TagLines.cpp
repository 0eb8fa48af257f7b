// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/TagLines.hpp"

#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <utility>

namespace Ostrel::Tool {

namespace {

constexpr char const *BLANKS = " \t\r\n";

// The text in front of the reader, and its line.
class Reader {
public:
  explicit Reader(std::string_view text) : text_(text) {}

  bool is_at_end() const { return text_.empty(); }
  bool is_at(std::string_view start) const { return starts_with(text_, start); }
  long line() const { return line_; }

  // Skips characters, and returns them.
  std::string_view skip(std::size_t count) {
    std::string_view const skipped = text_.substr(0, count);
    line_ += std::count(skipped.begin(), skipped.end(), '\n');
    text_.remove_prefix(skipped.size());
    return skipped;
  }
  // Up to one of the characters; to the end if there is none.
  std::string_view skip_to_any(char const *characters) {
    return skip(text_.find_first_of(characters));
  }
  // To behind the text; to the end if there is none.
  void skip_past(std::string_view end) {
    std::size_t const found = text_.find(end);
    skip(found == text_.npos ? found : found + end.size());
  }
  void skip_blanks() { skip(text_.find_first_not_of(BLANKS)); }

private:
  std::string_view text_;
  long line_ = 1;
};

// From behind the name of the tag to its '>'.
void read_attributes(Reader *reader, TagLines *tag) {
  reader->skip_blanks();
  while (!reader->is_at_end() && !reader->is_at(">") && !reader->is_at("/")) {
    long const line = reader->line();
    std::string const name(trimmed(reader->skip_to_any("=>")));
    tag->values.emplace(name, line);
    reader->skip(1);
    reader->skip_blanks();
    std::string const quote(reader->skip(1));
    reader->skip_past(quote);
    reader->skip_blanks();
  }
}

// The declaration of a document's type, with what it has in brackets.
void skip_type(Reader *reader) {
  reader->skip_to_any("[>");
  if (reader->is_at("[")) {
    reader->skip_past("]");
  }
  reader->skip_past(">");
}

} // namespace

std::vector<TagLines> find_tag_lines(std::string_view text) {
  std::vector<TagLines> tags;
  Reader reader(text);
  for (reader.skip_to_any("<"); !reader.is_at_end(); reader.skip_to_any("<")) {
    if (reader.is_at("<!--")) {
      reader.skip_past("-->");
    } else if (reader.is_at("<![CDATA[")) {
      reader.skip_past("]]>");
    } else if (reader.is_at("<?")) {
      reader.skip_past("?>");
    } else if (reader.is_at("<!")) {
      skip_type(&reader);
    } else if (reader.is_at("</")) {
      reader.skip_past(">");
    } else {
      TagLines tag;
      tag.line = reader.line();
      reader.skip_to_any(" \t\r\n/>");
      read_attributes(&reader, &tag);
      tags.push_back(std::move(tag));
    }
  }
  return tags;
}

} // namespace Ostrel::Tool
