// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Ostrel {

/// What distinguishes a file from one that has taken its place, and from itself after a change. Two
/// changes within the resolution of the file system's clock (some milliseconds) that keep the size
/// are not distinguished. Internal to the library.
struct FileIdentity {
  std::uint64_t volume = 0, index = 0, size = 0, write_time = 0;

  bool operator==(FileIdentity const &other) const noexcept {
    return volume == other.volume && index == other.index && size == other.size &&
           write_time == other.write_time;
  }
};

} // namespace Ostrel
