// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/process/ProcessLock.hpp"

namespace Ostrel {

/// Holds the mutex of all XML sources until the end of a block. Internal to the library.
class SourceLock : public ProcessLock {
public:
  SourceLock() : ProcessLock(ProcessMutex::SOURCE) {}
};

} // namespace Ostrel
