// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Ostrel {

/// One directory of a search path, and where it comes from.
struct SearchPathElement {
  enum Origin : int {
    ORIGIN_ENVIRONMENT, ///< The environment variable `origin_name`.
    ORIGIN_REGISTRY,    ///< The registry value `origin_name`.
    ORIGIN_BUILT_IN     ///< A default that was set when the library was built.
  };

  std::string directory; ///< As it stands in the search path; may be empty.
  Origin origin = ORIGIN_BUILT_IN;
  std::string origin_name; ///< Empty for a default.
};

} // namespace Ostrel
