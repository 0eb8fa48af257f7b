// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <cstdarg>
#include <memory>

namespace Ostrel {

/// The size of the buffers in which the category wrappers format their texts and messages.
constexpr unsigned int WRAPPER_BUFFER_SIZE = 4096;

/// Formats the fixed text of a wrapper; null if out of memory. Internal to the library.
std::unique_ptr<char[]> make_wrapper_text(char const *format, va_list arguments)
    OSTBASE_PRINTF(1, 0);

} // namespace Ostrel
