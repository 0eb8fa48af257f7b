// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

/// Has AtFork called around every fork of this process from now on, if that is not so yet. At load
/// there may be no memory for it, hence further calls. Internal to the library.
void register_around_fork() noexcept;

} // namespace Ostrel
