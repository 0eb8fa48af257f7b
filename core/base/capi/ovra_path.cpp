// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"

#include <cstring>

char *ovra_win32_basename(char *path) noexcept {
  char *const backslash = path == nullptr ? nullptr : std::strrchr(path, '\\');
  return backslash == nullptr ? path : backslash + 1;
}
