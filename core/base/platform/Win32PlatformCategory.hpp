// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/ClassCategory.hpp"

namespace Ostrel {

/// The category of what `Platform` reports of the operating system. Internal to the library.
extern ClassCategory win32_platform_category;

} // namespace Ostrel
