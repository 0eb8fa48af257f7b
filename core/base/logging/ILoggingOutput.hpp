// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <string>

namespace Ostrel {

class ILoggingLayout;
class LoggingEvent;

/// Where log events go. The category that an output is given to owns it.
///
/// `write` is called from any thread; the other operations must not overlap with it. The code that
/// logs may hold locks of this library meanwhile. So an output must not log, and must not use
/// settings, configuration sources or shared libraries of this library: two threads would wait for
/// each other forever.
class OSTBASE_API ILoggingOutput {
public:
  ILoggingOutput() = default;
  ILoggingOutput(ILoggingOutput const &) = delete;
  ILoggingOutput &operator=(ILoggingOutput const &) = delete;
  virtual ~ILoggingOutput() = default;

  /// Closes what the output writes to, for example a file; the next text may open it again.
  /// @return whether that succeeded; the library ignores it.
  virtual bool close() = 0;

  /// Closes and opens again, for example after a log file was moved away.
  /// @return whether that succeeded; the library ignores it.
  virtual bool re_open() = 0;

  /// Installs a layout.
  /// @param layout  handed over; the output deletes it. Null installs a fresh default layout.
  virtual void set_layout(ILoggingLayout *layout) = 0;

  /// Returns the layout, which the output still owns; null if the output has none.
  virtual ILoggingLayout *get_layout() = 0;

  /// Writes one formatted text as it is, the line feed at its end included.
  /// @return whether it was written; `write` ignores it.
  virtual bool write_method(std::string const &text) = 0;

  /// Formats the event with the layout and writes it. May throw `std::bad_alloc`, which drops the
  /// event, and nothing else: another exception would leave through the caller that logs, and end a
  /// program in C.
  virtual void write(LoggingEvent const &event) = 0;
};

} // namespace Ostrel
