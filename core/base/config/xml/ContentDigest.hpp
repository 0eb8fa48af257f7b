// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

namespace Ostrel {

/// A 64-bit digest of the contents of a file, to find out whether they have changed: FNV-1a (IETF
/// draft-eastlake-fnv). Not for contents that are made to collide. Internal to the library.
class ContentDigest {
public:
  void add(std::string_view bytes) noexcept {
    constexpr std::uint64_t PRIME = 0x00000100000001B3;
    for (char const byte : bytes) {
      value_ = (value_ ^ static_cast<unsigned char>(byte)) * PRIME;
    }
  }

  bool operator==(ContentDigest const &other) const noexcept { return value_ == other.value_; }

private:
  std::uint64_t value_ = 0xCBF29CE484222325;
};

} // namespace Ostrel
