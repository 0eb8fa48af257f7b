// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// Why the calling thread's last call of the system failed, in the system's own words, for the
/// rooms above the platform. It has to be made in the next statement: logging may change it.
/// Internal to the library.
class SystemErrorText {
public:
  SystemErrorText() noexcept;

  char const *c_str() const noexcept { return text_; }

private:
  char text_[512];
};

} // namespace Ostrel
