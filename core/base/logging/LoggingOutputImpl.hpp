// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/ILoggingOutput.hpp"

#include <memory>
#include <string_view>

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
  /// stays.
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
  friend class LoggingCategory; // for the short way of a plain line

  // This output, when it is one of the library's two with the default layout: what it writes for an
  // event is then known without making the event. Null for every other, derived ones included.
  static LoggingOutputImpl *as_plain(ILoggingOutput *output);

  // Writes a line of the default layout, as `write` does with an event's.
  void write_plain(std::string_view line);

  // Brings the text out in one piece.
  virtual void put(std::string_view text);

  std::unique_ptr<ILoggingLayout> layout_; // null after delete_layout
  std::unique_ptr<IMutex> mutex_;          // null when it could not be had: events are then written
                                           // all the same
};

} // namespace Ostrel
