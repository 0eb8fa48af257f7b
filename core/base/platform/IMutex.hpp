// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

namespace Ostrel {

/// A recursive mutex, owned by a thread. Created by `Platform::create_mutex`; the caller deletes
/// it.
///
/// If the previous owner ended without releasing the mutex, `acquire` returns false once, and the
/// caller does not own the mutex; the next `acquire` succeeds. The owner may acquire the mutex
/// again, and must release it as often.
///
/// `is_acquired` returns whether the mutex has been acquired through this object since the last
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
