// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstddef>

namespace Ostrel {

/// How many characters of a path are its drive: 2, or 0 when it does not begin with one.
std::size_t drive_length(char const *path) noexcept;

/// A path in the form in which the system's own calls take it. It needs no memory: a path that the
/// system would refuse for its length is refused here.
class NativePath {
public:
  explicit NativePath(char const *path) noexcept;

  /// False, with the last error set, for null and for what is too long.
  bool is_valid() const noexcept { return is_valid_; }

  char const *c_str() const noexcept { return text_; }

private:
  bool is_valid_ = false;
  char text_[PATH_MAX];
};

} // namespace Ostrel
