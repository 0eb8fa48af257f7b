// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/ILoggingOutput.hpp"

#include <atomic>
#include <memory>
#include <string>

namespace Ostrel {

class IMutex;

/// The output to standard error, and what other outputs share with it: each event is one write of a
/// whole line, and the lines of one output never mix. Nothing reports a failure: a log output says
/// nothing about itself.
class OSTBASE_API LoggingOutputImpl : public ILoggingOutput {
public:
  /// @param layout  handed over; null makes a default layout.
  explicit LoggingOutputImpl(ILoggingLayout *layout = nullptr);
  ~LoggingOutputImpl() override;

  /// There is nothing to close; true.
  bool close() override;
  /// There is nothing to open; true.
  bool re_open() override;

  /// The layout that is owned already stays. When a default layout cannot be had, the old one
  /// stays; where there is none, the next event tries again.
  void set_layout(ILoggingLayout *layout) override;
  ILoggingLayout *get_layout() override;

  /// Deletes the layout; until another is set, events are lost.
  void delete_layout();

  /// Writes the text to standard error.
  /// @return true.
  bool write_method(std::string const &text) override;

  /// Formats and writes under the output's mutex; an event for which there is no memory is lost.
  void write(LoggingEvent const &event) override;

private:
  friend class FileLoggingOutput;
  friend class LoggingHierarchy;
  friend class PlainOutput;

  // Whether there was memory for all that a new output has.
  bool is_complete() const { return mutex_ != nullptr && layout_ != nullptr; }

  std::unique_ptr<ILoggingLayout> layout_; // null after delete_layout, and while one is owed
  std::unique_ptr<IMutex> mutex_;          // null when it could not be had: events are then written
                                           // all the same
  // The layout was made here. Relaxed: the short way looks at it without the mutex, and does not
  // use the layout.
  std::atomic<bool> has_default_layout_{false};
  bool owes_layout_ = false; // a default one, for which there was no memory yet
};

} // namespace Ostrel
