// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Output.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/ExitStatus.hpp"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace Ostrel::Tool {

namespace {

constexpr char const *END_OF_STYLE = "\x1b[0m";

// By the number of the style.
constexpr char const *STYLES[] = {"", "\x1b[1m", "\x1b[32m", "\x1b[31m", "\x1b[2m"};

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

void write_line(std::FILE *stream, std::string text) {
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stream);
}

} // namespace

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

void Output::line(std::initializer_list<Span> spans) const {
  std::string shown;
  for (Span const &span : spans) {
    bool const is_styled = has_color_ && span.style != Style::PLAIN && !span.text.empty();
    shown += is_styled ? STYLES[static_cast<int>(span.style)] : "";
    shown += has_terminal_ ? escaped(span.text) : span.text;
    shown += is_styled ? END_OF_STYLE : "";
  }
  write_line(stdout, std::move(shown));
}

void Output::text(std::string_view text) const {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void Output::print_json(nlohmann::json const &object) {
  // On a terminal only ASCII, so that control characters beyond it are escapes as well.
  std::string const members =
      object.dump(-1, ' ', has_terminal_, nlohmann::json::error_handler_t::replace);
  write_line(stdout, (members == "{}" ? "{\"schema\":1" : "{\"schema\":1,") + members.substr(1));
  has_document_ = true;
}

void Output::error(std::string_view text) {
  last_error_ = text;
  if (!is_quiet_) {
    std::fflush(stdout); // so that the order is right where both go to one place
    write_line(stderr, "ostrel: " + (has_error_terminal_ ? escaped(text) : std::string(text)));
  }
}

int Output::finish(int status) {
  if (is_json_ && status != STATUS_DONE && !has_document_) {
    print_json({{"status", status}, {"error", last_error_}});
  }
  return flush() || status != STATUS_DONE ? status : STATUS_NOT_WRITTEN;
}

bool Output::flush() {
  if (std::ferror(stdout) == 0 && std::fflush(stdout) == 0) {
    return true;
  }
  int const reason = errno;
  error("cannot write to standard output: " + std::string(std::strerror(reason)));
  return false;
}

} // namespace Ostrel::Tool
