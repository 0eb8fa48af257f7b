// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ThreadSafety.hpp"

namespace Ostrel {

/// Something that is taken for exclusive use and given back.
///
/// No object is deleted through this interface: it has no virtual destructor.
class OSTBASE_API OSTBASE_CAPABILITY IAcquirable {
public:
  /// Takes the object, waiting as long as needed.
  /// @return true on success.
  virtual bool acquire() = 0;

  /// Gives the object back.
  /// @return true on success.
  virtual bool release() = 0;

  /// Whether the object is currently taken.
  virtual bool is_acquired() const = 0;

protected:
  ~IAcquirable() = default;
};

} // namespace Ostrel
