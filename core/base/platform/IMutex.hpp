// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

namespace Ostrel {

/// A mutex: recursive, owned by a thread. Made by `Platform::create_mutex`; the caller deletes it.
///
/// `acquire` returns false, and the caller then owns nothing, when the previous owner ended without
/// releasing the mutex; the next `acquire` succeeds. The owner may acquire the mutex again, and
/// releases it as often as it acquired it.
///
/// `is_acquired` tells whether a thread has acquired the mutex through this object since the last
/// release through it. It does not count: after two calls of `acquire` and one of `release` it is
/// false, although the mutex is still held once.
class OSTBASE_API IMutex : public IAcquirable {
public:
  IMutex() = default;
  IMutex(IMutex const &) = delete;
  IMutex &operator=(IMutex const &) = delete;
  virtual ~IMutex() = default;
};

} // namespace Ostrel
