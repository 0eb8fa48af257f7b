// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/PlainOutput.hpp"

#include "core/base/foundation/ClassMark.hpp"
#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LogLine.hpp"
#include "core/base/logging/LoggingTimeStamp.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <atomic>
#include <string_view>

namespace Ostrel {

namespace {

// 0 until there is a first object. Relaxed: every object of a class brings the same value, and
// whoever is given an object is given what its constructor stored before.
std::atomic<ClassMark> console_class{0};
std::atomic<ClassMark> file_class{0};

} // namespace

void PlainOutput::learn_console_class(LoggingOutputImpl const &output) {
  console_class.store(class_mark<ILoggingOutput>(output), std::memory_order_relaxed);
}

void PlainOutput::learn_file_class(FileLoggingOutput const &output) {
  file_class.store(class_mark<ILoggingOutput>(output), std::memory_order_relaxed);
}

bool PlainOutput::write(ILoggingOutput &output, LoggingPriority::PriorityLevel level,
                        LogLine &message) {
  ClassMark const mark = class_mark(output);
  bool const is_file = mark == file_class.load(std::memory_order_relaxed);
  if (!is_file && mark != console_class.load(std::memory_order_relaxed)) {
    return false;
  }
  auto &plain = static_cast<LoggingOutputImpl &>(output);
  if (!plain.has_default_layout_.load(std::memory_order_relaxed)) {
    return false;
  }
  [[maybe_unused]] LoggingTimeStamp const number;
  std::string_view const line = message.finish(level);
  RetryingLock const lock(plain.mutex_.get());
  if (is_file) {
    static_cast<FileLoggingOutput &>(plain).append(line);
  } else {
    Platform::write_standard_error(line.data(), line.size());
  }
  return true;
}

} // namespace Ostrel
