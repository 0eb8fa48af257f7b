// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/xml/XmlLibrary.hpp"

#include "core/base/foundation/Formatting.h"

#include <cstring>

namespace Ostrel {

ErrorTrap::ErrorTrap() noexcept
    : host_handler_(xmlStructuredError), host_context_(xmlStructuredErrorContext) {
  xmlSetStructuredErrorFunc(this, record);
}

ErrorTrap::~ErrorTrap() {
  xmlSetStructuredErrorFunc(host_context_, host_handler_);
}

void ErrorTrap::record(void *context, xmlError *error) noexcept {
  auto &trap = *static_cast<ErrorTrap *>(context);
  bool const is_first_fatal = error->level == XML_ERR_FATAL && !trap.is_malformed_;
  if (error->code == XML_ERR_NO_MEMORY) {
    trap.lacked_memory_ = trap.lacked_memory_ || !trap.is_malformed_;
  } else if (error->level == XML_ERR_FATAL) {
    trap.is_malformed_ = true;
  }
  if (trap.message_[0] == '\0' || is_first_fatal) {
    char const *const message = error->message == nullptr ? "unknown error" : error->message;
    int const length = static_cast<int>(std::strcspn(message, "\n")); // it ends in a line feed
    ovra_snprintf(trap.message_.data(), MESSAGE_SIZE, "line %d, column %d: %.*s", error->line,
                  error->int2, length, message);
  }
}

} // namespace Ostrel
