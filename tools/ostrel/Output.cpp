// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Output.hpp"

#include "core/base/platform/Platform.hpp"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// Styles travel inside a text as noncharacters of Unicode, which are reserved for such internal
// use: U+FDD0 for the end of a style, then one for each style.
constexpr char const *STYLE_MARK = "\xEF\xB7\x90";
constexpr std::size_t STYLE_MARK_SIZE = 3;
constexpr char const *STYLE_SEQUENCES[] = {"\x1b[0m", "\x1b[1m", "\x1b[32m", "\x1b[31m", "\x1b[2m"};

std::string mark(std::size_t style) {
  std::string text = STYLE_MARK;
  text.back() = static_cast<char>(text.back() + static_cast<char>(style));
  return text;
}

// The sequence of the mark at the start of a text; null for none.
char const *sequence_of_mark(std::string_view text) {
  for (std::size_t i = 0; i < std::size(STYLE_SEQUENCES); ++i) {
    if (text.substr(0, STYLE_MARK_SIZE) == mark(i)) {
      return STYLE_SEQUENCES[i];
    }
  }
  return nullptr;
}

// The number of bytes of the control character at the start of a text; 0 for none.
std::size_t control_length(std::string_view text) {
  constexpr unsigned char FIRST_PRINTABLE = 0x20, DELETE = 0x7F;
  constexpr unsigned char C1_LEAD = 0xC2, C1_END = 0xA0; // U+0080 to U+009F in UTF-8
  auto const byte = static_cast<unsigned char>(text[0]);
  if (byte < FIRST_PRINTABLE || byte == DELETE) {
    return 1;
  }
  bool const is_c1 =
      byte == C1_LEAD && text.size() > 1 && static_cast<unsigned char>(text[1]) < C1_END;
  return is_c1 ? 2 : 0;
}

void append_escaped(std::string *out, std::string_view control) {
  if (control == "\n" || control == "\t" || control == "\r") {
    *out += control == "\n" ? "\\n" : control == "\t" ? "\\t" : "\\r";
    return;
  }
  for (char const c : control) {
    char escape[sizeof "\\x00"];
    std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
    *out += escape;
  }
}

std::string escaped(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    std::size_t const control = control_length(text);
    if (control != 0) {
      append_escaped(&out, text.substr(0, control));
    } else {
      out += text[0];
    }
    text.remove_prefix(control != 0 ? control : 1);
  }
  return out;
}

std::string with_styles(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    char const *const sequence = sequence_of_mark(text);
    if (sequence != nullptr) {
      out += sequence;
    } else {
      out += text[0];
    }
    text.remove_prefix(sequence != nullptr ? STYLE_MARK_SIZE : 1);
  }
  return out;
}

void write_line(std::FILE *stream, std::string text) {
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stream);
}

} // namespace

Output::Output()
    : has_terminal_(isatty(STDOUT_FILENO) != 0), has_error_terminal_(isatty(STDERR_FILENO) != 0) {
  set_color(Color::AUTO);
}

void Output::set_color(Color color) {
  std::string no_color;
  bool const is_wanted =
      !Platform::get_environment_variable("NO_COLOR", &no_color) || no_color.empty();
  has_color_ = color == Color::ALWAYS || (color == Color::AUTO && has_terminal_ && is_wanted);
}

void Output::line(std::string_view text) const {
  std::string shown(has_terminal_ ? escaped(text) : text);
  write_line(stdout, has_color_ ? with_styles(shown) : std::move(shown));
}

void Output::text(std::string_view text) const {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void Output::print_json(nlohmann::json const &object) const {
  // On a terminal only ASCII, so that control characters beyond it are escapes as well.
  std::string const members =
      object.dump(-1, ' ', has_terminal_, nlohmann::json::error_handler_t::replace);
  write_line(stdout, (members == "{}" ? "{\"schema\":1" : "{\"schema\":1,") + members.substr(1));
}

void Output::error(std::string_view text) const {
  if (!is_quiet_) {
    std::fflush(stdout); // so that the order is right where both go to one place
    write_line(stderr, "ostrel: " + (has_error_terminal_ ? escaped(text) : std::string(text)));
  }
}

std::string Output::styled(Style style, std::string_view text) const {
  if (!has_color_) {
    return std::string(text);
  }
  return mark(static_cast<std::size_t>(style) + 1) + std::string(text) + mark(0);
}

bool Output::flush() const {
  if (std::ferror(stdout) == 0 && std::fflush(stdout) == 0) {
    return true;
  }
  int const reason = errno;
  error("cannot write to standard output: " + std::string(std::strerror(reason)));
  return false;
}

} // namespace Ostrel::Tool
