// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingOutputImpl.hpp"

#include <memory>
#include <string>
#include <string_view>

namespace Ostrel {

class File;

/// The output to a file, at whose end each event is one append of its whole line: several outputs
/// and processes may write to one file. The line is there for other readers when `write` returns.
///
/// The file is opened at the first write. Text that cannot be written is lost without a message.
/// After a full disk, lines are written again as soon as there is room. A file whose opening failed
/// for a reason that may pass (too many open files, lack of memory, a full disk, an input/output
/// error) is tried again at a later write, at most once a second.
class OSTBASE_API FileLoggingOutput : public LoggingOutputImpl {
public:
  /// @param file_name  path of the file, copied; null is an empty name, which opens nothing, and
  ///                   so is one for which there is no memory.
  /// @param layout     handed over; null makes a default layout.
  explicit FileLoggingOutput(char const *file_name, ILoggingLayout *layout = nullptr);
  ~FileLoggingOutput() override;

  /// Closes the file; the next write opens it again.
  /// @return true.
  bool close() override;

  /// Closes the file and opens it at once under its name.
  /// @return true.
  bool re_open() override;

  /// Appends the text to the file, which is opened if need be.
  /// @return true.
  bool write_method(std::string const &text) override;

protected:
  /// Opens the file for appending and creates it if it does not exist. A file that cannot be opened
  /// counts as open, and loses what is written to it, until `re_open` or the next try.
  void open_file();

private:
  friend class PlainOutput;
  friend class LoggingSetUp;

  // Whether there was memory for all that a new output has.
  bool is_complete() const { return LoggingOutputImpl::is_complete() && has_name_; }
  bool is_opening_due() const;
  void append(std::string_view text);
  void append_after_fragment(std::string_view text);

  std::string file_name_;
  bool has_name_ = true;          // there was memory for it
  std::unique_ptr<File> stream_;  // null until first needed
  bool is_tried_again_ = false;   // the opening failed for a reason that may pass
  double tried_at_ = 0;           // seconds, as Platform::get_timestamp counts them
  bool ends_inside_line_ = false; // the last write was cut short by a full disk
};

} // namespace Ostrel
