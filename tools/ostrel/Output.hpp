// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <initializer_list>
#include <string>
#include <string_view>

namespace Ostrel::Tool {

/// Returns the text with each control character as an escape, as terminals get it.
std::string escaped(std::string_view text);

enum class Style { PLAIN, STRONG, GOOD, BAD, FAINT };

/// A part of a line, borrowed.
struct Span {
  std::string_view text;
  Style style = Style::PLAIN;
};

/// How the tool speaks: data to standard output, everything else to standard error.
///
/// On a terminal, control characters are shown as escapes ("\x1b"), so that no file and no variable
/// can change what the user sees. Lines of JSON are the same everywhere.
class Output {
public:
  enum class Color { AUTO, ALWAYS, NEVER };

  Output();

  void set_json(bool is_json) { is_json_ = is_json; }
  /// Errors and notes are dropped.
  void set_quiet(bool is_quiet) { is_quiet_ = is_quiet; }
  /// `AUTO`: on a terminal, unless the variable `NO_COLOR` is set to a text that is not empty.
  void set_color(Color color);

  bool is_json() const { return is_json_; }
  bool is_quiet() const { return is_quiet_; }

  /// Writes a line of data.
  void line(std::string_view text) const { line({Span{text}}); }
  void line(std::initializer_list<Span> spans) const;

  /// Writes text of the tool's own, which may have several lines, as it is.
  void text(std::string_view text) const;

  /// Writes an object as one line of data, with `"schema": 1` in front of its members.
  void print_json(nlohmann::json const &object);

  /// Writes an error or a note to standard error, after "ostrel: ".
  void error(std::string_view text);

  /// Ends the output of a command with that exit status. With JSON, a command that failed before it
  /// printed anything gets a document with its last error. Returns the status, or
  /// `STATUS_NOT_WRITTEN`, with an error, if any data of a command that succeeded was not written.
  int finish(int status);

private:
  bool flush();

  bool is_json_ = false;
  bool has_document_ = false;
  bool is_quiet_ = false;
  bool has_terminal_;       // standard output
  bool has_error_terminal_; // standard error
  bool has_color_ = false;
  std::string last_error_;
};

} // namespace Ostrel::Tool
