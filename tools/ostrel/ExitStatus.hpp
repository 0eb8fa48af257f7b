// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel::Tool {

/// The exit status of the tool, for scripts.
enum ExitStatus : int {
  STATUS_DONE = 0,
  STATUS_NOT_FOUND = 1,
  STATUS_USAGE = 2,
  STATUS_UNREADABLE = 3,  ///< A settings file that is missing, unreadable or malformed.
  STATUS_NOT_WRITTEN = 4, ///< Nothing changed.
  STATUS_FINDINGS = 5     ///< `config check` or `doctor` found something.
};

} // namespace Ostrel::Tool
