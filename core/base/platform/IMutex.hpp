// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

namespace Ostrel {

/// A mutex: recursive, owned by a thread. Made by `Platform::create_mutex`; the caller deletes it.
///
/// `acquire` returns false, and the caller then owns nothing, when the previous owner ended without
/// releasing the mutex; the next `acquire` succeeds.
class OSTBASE_API IMutex : public IAcquirable {
public:
  IMutex() = default;
  IMutex(IMutex const &) = delete;
  IMutex &operator=(IMutex const &) = delete;
  virtual ~IMutex() = default;
};

} // namespace Ostrel
