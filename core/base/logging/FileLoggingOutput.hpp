// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingOutputImpl.hpp"

#include <memory>
#include <string>
#include <string_view>

namespace Ostrel {

class File;

/// The output to a file. Each event is appended as one whole line, so that several outputs and
/// processes may write to one file. When `write` returns, other processes can read the line.
///
/// The file is opened at the first write. Text that cannot be written is lost without a message.
/// After a full disk, writing resumes as soon as there is space. If opening the file fails for a
/// temporary reason (too many open files, out of memory, a full disk, an input/output error), later
/// writes retry, at most once a second.
class OSTBASE_API FileLoggingOutput : public LoggingOutputImpl {
public:
  /// @param file_name  path of the file, copied. Null is an empty name, which opens nothing, as is
  ///                   any name if out of memory.
  /// @param layout     handed over; null creates a default layout.
  explicit FileLoggingOutput(char const *file_name, ILoggingLayout *layout = nullptr);
  ~FileLoggingOutput() override;

  /// Closes the file; the next write opens it again.
  /// @return true.
  bool close() override;

  /// Closes the file and opens it again by its name.
  /// @return true.
  bool re_open() override;

  /// Appends the text to the file; opens it first if necessary.
  /// @return true.
  bool write_method(std::string const &text) override;

protected:
  /// Opens the file for appending and creates it if it does not exist. If that fails, text is lost
  /// until `re_open` or the next retry.
  void open_file();

private:
  friend class PlainOutput;
  friend class LoggingSetUp;

  // Whether the construction had enough memory.
  bool is_complete() const { return LoggingOutputImpl::is_complete() && has_name_; }
  bool is_opening_due() const;
  void append(std::string_view text);
  void append_after_fragment(std::string_view text);

  std::string file_name_;
  bool has_name_ = true;          // false if out of memory for the name
  std::unique_ptr<File> stream_;  // null until first needed
  bool is_retryable_ = false;     // opening failed for a temporary reason
  double tried_at_ = 0;           // seconds, from Platform::get_timestamp
  bool ends_inside_line_ = false; // a full disk truncated the last write
};

} // namespace Ostrel
