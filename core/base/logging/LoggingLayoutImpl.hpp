// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/ILoggingLayout.hpp"

namespace Ostrel {

/// The default layout: the level's name, " - ", the message, and " [file:line]" where the event has
/// a file. May be called from any thread.
class OSTBASE_API LoggingLayoutImpl : public ILoggingLayout {
public:
  std::string format(LoggingEvent const &event) override;
};

} // namespace Ostrel
