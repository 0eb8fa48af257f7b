// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel {

class ClassCategory;

/// The category of what `Platform` reports of the operating system. Internal to the library.
extern ClassCategory win32_platform_category;

} // namespace Ostrel
