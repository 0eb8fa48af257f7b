// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <string>

namespace Ostrel {

class LoggingEvent;

/// Turns an event into the text that is written for it. An output owns its layout and calls it from
/// one thread at a time.
///
/// A layout runs with locks held: the output's, and those of the code that logs. So it must not
/// log, and must not use settings, configuration sources or shared libraries of this library: they
/// log with their own locks held, and two threads would wait for each other forever.
class OSTBASE_API ILoggingLayout {
public:
  ILoggingLayout() = default;
  ILoggingLayout(ILoggingLayout const &) = delete;
  ILoggingLayout &operator=(ILoggingLayout const &) = delete;
  virtual ~ILoggingLayout() = default;

  /// Returns the complete text, the line feed at its end included. May throw `std::bad_alloc` and
  /// nothing else, as `ILoggingOutput::write`.
  virtual std::string format(LoggingEvent const &event) = 0;
};

} // namespace Ostrel
