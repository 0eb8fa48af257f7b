// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <string>

namespace Ostrel {

class ILoggingLayout;
class LoggingEvent;

/// Where log events go. The category that an output is given to owns it.
///
/// `write` is called from any thread; the other operations must not overlap with it.
class OSTBASE_API ILoggingOutput {
public:
  ILoggingOutput() = default;
  ILoggingOutput(ILoggingOutput const &) = delete;
  ILoggingOutput &operator=(ILoggingOutput const &) = delete;
  virtual ~ILoggingOutput() = default;

  /// Lets go of what the output writes to, for example a file; the next text may take it again.
  /// @return whether that went well; nothing of the library asks.
  virtual bool close() = 0;

  /// Closes and opens again, for example after a log file was moved away.
  /// @return whether that went well; nothing of the library asks.
  virtual bool re_open() = 0;

  /// Installs a layout.
  /// @param layout  handed over; the output deletes it. Null installs a fresh default layout.
  virtual void set_layout(ILoggingLayout *layout) = 0;

  /// Gives the layout, which stays the output's; null when the output has none.
  virtual ILoggingLayout *get_layout() = 0;

  /// Writes one formatted text as it is, the line feed at its end included.
  /// @return whether it was written; `write` ignores the answer, there is nobody to tell.
  virtual bool write_method(std::string const &text) = 0;

  /// Formats the event with the layout and writes it. May throw `std::bad_alloc`, which drops the
  /// event; anything else would leave through whoever logs, and end a program in C.
  virtual void write(LoggingEvent const &event) = 0;
};

} // namespace Ostrel
