// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IAcquirable.hpp"

#include <memory>

namespace Ostrel {

class IMutex;

/// An acquirable with a mutex of its own: recursive, owned by the thread that acquired it. If the
/// mutex could not be created, every operation returns false.
class OSTBASE_API AcquirableImpl : public IAcquirable {
public:
  /// Creates the mutex; `is_ok` returns whether that succeeded. The argument has no effect.
  explicit AcquirableImpl(bool flag = false);
  AcquirableImpl(AcquirableImpl const &) = delete;
  AcquirableImpl &operator=(AcquirableImpl const &) = delete;

  bool acquire() override;
  bool release() override;
  bool is_acquired() const override;

  virtual ~AcquirableImpl();

  /// Whether the mutex exists.
  virtual bool is_ok() const;

private:
  std::unique_ptr<IMutex> mutex_; // null if it could not be created
};

} // namespace Ostrel
