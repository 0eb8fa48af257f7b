// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/ILoggingOutput.hpp"

#include <atomic>
#include <memory>
#include <string>

namespace Ostrel {

class IMutex;

/// The output to standard error, and a base for other outputs. Each event is one write of a whole
/// line, and lines of one output never interleave. Failures are not reported: a log output logs
/// nothing about itself.
class OSTBASE_API LoggingOutputImpl : public ILoggingOutput {
public:
  /// @param layout  handed over; null creates a default layout.
  explicit LoggingOutputImpl(ILoggingLayout *layout = nullptr);
  ~LoggingOutputImpl() override;

  /// Does nothing and returns true.
  bool close() override;
  /// Does nothing and returns true.
  bool re_open() override;

  /// Does nothing if the output owns the layout already. If a default layout cannot be created, the
  /// old one stays; if there is none, the next event retries.
  void set_layout(ILoggingLayout *layout) override;
  ILoggingLayout *get_layout() override;

  /// Deletes the layout; events are lost until another one is set.
  void delete_layout();

  /// Writes the text to standard error.
  /// @return true.
  bool write_method(std::string const &text) override;

  /// Formats and writes under the output's mutex; if out of memory, the event is lost.
  void write(LoggingEvent const &event) override;

private:
  friend class FileLoggingOutput;
  friend class LoggingHierarchy;
  friend class PlainOutput;

  // Whether the construction had enough memory.
  bool is_complete() const { return mutex_ != nullptr && layout_ != nullptr; }

  std::unique_ptr<ILoggingLayout> layout_; // null after delete_layout, or if out of memory
  std::unique_ptr<IMutex> mutex_;          // null if out of memory: writes are then not locked
  // The layout was created here. Relaxed: PlainOutput reads it without the mutex, and does not use
  // the layout.
  std::atomic<bool> has_default_layout_{false};
  bool needs_default_layout_ = false; // out of memory when it was created
};

} // namespace Ostrel
