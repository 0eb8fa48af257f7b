// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// The system's text for the calling thread's last error, such as "No space left on device".
/// Construct it directly after the failure: logging may change the error. Internal to the library.
class SystemErrorText {
public:
  SystemErrorText() noexcept;

  char const *c_str() const noexcept { return text_; }

private:
  char text_[512];
};

} // namespace Ostrel
