// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/FileLoggingOutput.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/PlainOutput.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Platform.hpp"

#include <cstddef>
#include <new>
#include <utility>

namespace Ostrel {

FileLoggingOutput::FileLoggingOutput(char const *file_name, ILoggingLayout *layout)
    : LoggingOutputImpl(layout) {
  try {
    file_name_ = file_name == nullptr ? "" : file_name;
  } catch (std::bad_alloc const &) {
    has_name_ = false;
  }
  PlainOutput::learn_file_class(*this);
}

FileLoggingOutput::~FileLoggingOutput() = default;

bool FileLoggingOutput::close() {
  stream_.reset();
  return true;
}

bool FileLoggingOutput::re_open() {
  close();
  open_file();
  return true;
}

bool FileLoggingOutput::write_method(std::string const &text) {
  append(text);
  return true;
}

void FileLoggingOutput::open_file() {
  std::unique_ptr<File> opened(new (std::nothrow) File);
  if (opened != nullptr) {
    unsigned long const result = opened->open_for_appending(file_name_.c_str());
    is_retryable_ = result == RESULT_OUT_OF_MEMORY || result == RESULT_SYSTEM_ERROR;
    tried_at_ = Platform::get_timestamp();
  }
  // Assigned last: if another thread forks before this, the child opens the file itself.
  stream_ = std::move(opened);
}

bool FileLoggingOutput::is_opening_due() const {
  constexpr double PAUSE_S = 1; // between retries, so that lost lines cost little
  return stream_ == nullptr || (is_retryable_ && Platform::get_timestamp() - tried_at_ >= PAUSE_S);
}

void FileLoggingOutput::append(std::string_view text) try {
  if (is_opening_due()) {
    open_file();
  }
  if (stream_ == nullptr || !stream_->is_open()) {
    return;
  }
  // A file that was truncated or recreated holds no fragment.
  if (ends_inside_line_ && stream_->size() != 0) {
    append_after_fragment(text);
  } else {
    std::size_t const written = stream_->write(text.data(), text.size());
    ends_inside_line_ = written != 0 && written < text.size();
  }
} catch (std::bad_alloc const &) {
  return; // the text is lost
}

// Ends the line that a full disk truncated, in one write with the new line, so that other writers
// cannot append in between.
void FileLoggingOutput::append_after_fragment(std::string_view text) {
  std::string line(1, '\n');
  line += text;
  std::size_t const written = stream_->write(line.data(), line.size());
  bool const fragment_ended = written != 0;
  bool const is_cut_again = written > 1 && written < line.size();
  ends_inside_line_ = !fragment_ended || is_cut_again;
}

} // namespace Ostrel
