// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/PlainOutput.hpp"

#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/foundation/VtableId.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LogLine.hpp"
#include "core/base/logging/LoggingTimeStamp.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <atomic>
#include <string_view>

namespace Ostrel {

namespace {

// 0 until the first object of the class is constructed. Relaxed: every object stores the same
// value, and a thread that received an object also sees what its constructor stored.
std::atomic<VtableId> console_class{0};
std::atomic<VtableId> file_class{0};

} // namespace

void PlainOutput::learn_console_class(LoggingOutputImpl const &output) {
  console_class.store(vtable_id<ILoggingOutput>(output), std::memory_order_relaxed);
}

void PlainOutput::learn_file_class(FileLoggingOutput const &output) {
  file_class.store(vtable_id<ILoggingOutput>(output), std::memory_order_relaxed);
}

bool PlainOutput::write(ILoggingOutput &output, LoggingPriority::PriorityLevel level,
                        LogLine &message) {
  VtableId const id = vtable_id(output);
  bool const is_file = id == file_class.load(std::memory_order_relaxed);
  if (!is_file && id != console_class.load(std::memory_order_relaxed)) {
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
