// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ThreadSafety.hpp"

namespace Ostrel {

/// An object that is acquired for exclusive use and then released, such as a mutex.
///
/// Objects are not deleted through this interface: it has no virtual destructor.
class OSTBASE_API OSTBASE_CAPABILITY IAcquirable {
public:
  /// Acquires the object; waits as long as necessary.
  /// @return true on success.
  virtual bool acquire() = 0;

  /// Releases the object.
  /// @return true on success.
  virtual bool release() = 0;

  /// Whether the object is currently acquired.
  virtual bool is_acquired() const = 0;

protected:
  ~IAcquirable() = default;
};

} // namespace Ostrel
