// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/AcquirableImpl.hpp"

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace Ostrel {

/// An ordered map that is locked as a whole.
///
/// The map's own operations acquire no lock: hold an `AcquirableLock` on the map around them.
/// Assigning a map or a list of pairs replaces the elements and does not touch the mutex. The
/// object itself cannot be copied or moved.
template <typename Key, typename Value, typename Compare = std::less<Key>,
          typename Allocator = std::allocator<std::pair<Key const, Value>>>
class AcquirableMap : public std::map<Key, Value, Compare, Allocator>, public AcquirableImpl {
  // The map is the first base, so that it is constructed before the mutex and destroyed after it.
public:
  /// Creates an empty map, then its mutex. The flag has no effect.
  explicit AcquirableMap(bool flag = false, Compare const &compare = Compare(),
                         Allocator const &allocator = Allocator())
      : std::map<Key, Value, Compare, Allocator>(compare, allocator), AcquirableImpl(flag) {}

  AcquirableMap(AcquirableMap const &) = delete;
  AcquirableMap &operator=(AcquirableMap const &) = delete;

  using std::map<Key, Value, Compare, Allocator>::operator=;

  ~AcquirableMap() override = default;
};

} // namespace Ostrel
