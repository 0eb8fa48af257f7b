// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/IConfigSource.hpp"

namespace Ostrel {

/// The file name of a root's configuration; null for a root without a file. Internal to the
/// library.
char const *file_name_of(IConfigSource::ConfigRoot root) noexcept;

/// The root whose configuration has that top key; `CONFIG_ROOT_OTHER` for any other key. Internal
/// to the library.
IConfigSource::ConfigRoot root_of(char const *top_key) noexcept;

} // namespace Ostrel
