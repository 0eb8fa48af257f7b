// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <string>

namespace Ostrel {

class LoggingEvent;

/// Formats an event as the text to write. An output owns its layout and calls it from one thread at
/// a time.
///
/// A layout runs while the output and the code that logs hold their locks. It must not log, nor use
/// the settings, configuration sources or shared libraries of this library: these log with their
/// own locks held, so that two threads could deadlock.
class OSTBASE_API ILoggingLayout {
public:
  ILoggingLayout() = default;
  ILoggingLayout(ILoggingLayout const &) = delete;
  ILoggingLayout &operator=(ILoggingLayout const &) = delete;
  virtual ~ILoggingLayout() = default;

  /// Returns the complete text, including the line feed at its end. May throw `std::bad_alloc` and
  /// no other exception, like `ILoggingOutput::write`.
  virtual std::string format(LoggingEvent const &event) = 0;
};

} // namespace Ostrel
