// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/posix/descriptor.hpp"

#include <climits>
#include <cstddef>

namespace Ostrel {

/// The length of the drive at the start of a path: 2, or 0 without a drive.
std::size_t drive_length(char const *path) noexcept;

/// The part of a native path behind its last separator.
char const *last_part(char const *path) noexcept;

/// Opens the directory in which the last part of a native path lies, for reading.
Descriptor open_directory_of(char const *path) noexcept;

/// A path in the form that the system's own calls take. It needs no memory: a path that is too long
/// for the system is refused.
class NativePath {
public:
  explicit NativePath(char const *path) noexcept;

  /// False, with the last error and `errno`, for null and for a path that is too long.
  bool is_valid() const noexcept { return is_valid_; }

  char const *c_str() const noexcept { return text_; }

private:
  bool is_valid_ = false;
  char text_[PATH_MAX];
};

} // namespace Ostrel
