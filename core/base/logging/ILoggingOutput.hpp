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

  /// Lets go of what the output writes to.
  virtual bool close() = 0;

  /// Closes and opens again, for example after a log file was moved away.
  virtual bool re_open() = 0;

  /// Installs a layout.
  /// @param layout  handed over; the output deletes it. Null installs a fresh default layout.
  virtual void set_layout(ILoggingLayout *layout) = 0;

  /// Gives the layout, which stays the output's.
  virtual ILoggingLayout *get_layout() = 0;

  /// Writes one formatted text as it is.
  virtual bool write_method(std::string const &text) = 0;

  /// Formats the event with the layout and writes it.
  virtual void write(LoggingEvent const &event) = 0;
};

} // namespace Ostrel
