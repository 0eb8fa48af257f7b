// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Ostrel::Tool {

/// Something that is wrong, where, and what to write instead.
struct Finding {
  std::string file;    ///< Empty if it is not in a file but, say, in a variable of the environment.
  long line = 0;       ///< From 1; 0 for the whole file, or if it is unknown.
  std::string what;    ///< "'4,5' is not a number"
  std::string instead; ///< "write 4.5"; may be empty.
};

} // namespace Ostrel::Tool
