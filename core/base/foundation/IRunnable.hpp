// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

/// A piece of work that one component of a program hands to another. The library runs none itself.
class OSTBASE_API IRunnable {
public:
  /// Does the work. Its input and its result are members of the implementing class.
  virtual void run() = 0;

  virtual ~IRunnable() = default;
};

} // namespace Ostrel
