// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <string>

namespace Ostrel {

class ILoggingLayout;
class LoggingEvent;

/// The destination of log events. A category owns the output that is set on it.
///
/// Any thread may call `write`; the other operations must not overlap with it. The code that logs
/// may hold locks of this library. An output must not log, nor use the settings, configuration
/// sources or shared libraries of this library: two threads could deadlock.
class OSTBASE_API ILoggingOutput {
public:
  ILoggingOutput() = default;
  ILoggingOutput(ILoggingOutput const &) = delete;
  ILoggingOutput &operator=(ILoggingOutput const &) = delete;
  virtual ~ILoggingOutput() = default;

  /// Closes the destination, for example a file; the next write may open it again.
  /// @return whether that succeeded; the library ignores it.
  virtual bool close() = 0;

  /// Closes and opens again, for example after a log file was moved away.
  /// @return whether that succeeded; the library ignores it.
  virtual bool re_open() = 0;

  /// Installs a layout.
  /// @param layout  handed over; the output deletes it. Null installs a new default layout.
  virtual void set_layout(ILoggingLayout *layout) = 0;

  /// Returns the layout, which the output still owns; null if the output has none.
  virtual ILoggingLayout *get_layout() = 0;

  /// Writes a formatted text, which includes its line feed, unchanged.
  /// @return whether it was written; `write` ignores that.
  virtual bool write_method(std::string const &text) = 0;

  /// Formats the event with the layout and writes it. May throw `std::bad_alloc`, which drops the
  /// event, and no other exception: that would propagate to the caller that logs, and terminate a
  /// program in C.
  virtual void write(LoggingEvent const &event) = 0;
};

} // namespace Ostrel
