// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

/// A piece of work. Nothing in the library runs one; it is for those who hand work to each other.
class OSTBASE_API IRunnable {
public:
  /// Does the work. What it needs and what becomes of it are the object's own: it takes no argument
  /// and gives no result.
  virtual void run() = 0;

  virtual ~IRunnable() = default;
};

} // namespace Ostrel
