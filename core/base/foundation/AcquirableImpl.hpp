// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

#include <memory>

namespace Ostrel {

class IMutex;

/// An acquirable over a mutex of its own: recursive, owned by the thread that acquired it.
class OSTBASE_API AcquirableImpl : public IAcquirable {
public:
  /// Makes the mutex; `is_ok` tells whether that succeeded. The argument has no effect.
  explicit AcquirableImpl(bool flag = false);
  AcquirableImpl(AcquirableImpl const &) = delete;
  AcquirableImpl &operator=(AcquirableImpl const &) = delete;

  /// False also without a mutex.
  bool acquire() override;
  /// False also without a mutex.
  bool release() override;
  /// False also without a mutex.
  bool is_acquired() const override;

  virtual ~AcquirableImpl();

  /// Whether the mutex exists. Without it every other operation gives false.
  virtual bool is_ok() const;

private:
  std::unique_ptr<IMutex> mutex_; // null when it could not be made
};

} // namespace Ostrel
