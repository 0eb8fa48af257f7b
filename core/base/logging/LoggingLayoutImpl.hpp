// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/ILoggingLayout.hpp"

namespace Ostrel {

/// The default layout: the level's name, " - ", the message, and if the event has a file,
/// " [file:line]". Any thread may call it.
class OSTBASE_API LoggingLayoutImpl : public ILoggingLayout {
public:
  std::string format(LoggingEvent const &event) override;
};

} // namespace Ostrel
