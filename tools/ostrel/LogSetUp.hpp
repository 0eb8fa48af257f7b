// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// A variable of the log. The library reads each under two names.
struct LogVariable {
  std::string name; ///< The one that the library reads; if neither is set, the preferred one.
  std::string value;
  bool is_set = false;
};

LogVariable read_log_priority();
LogVariable read_log_output();

/// An entry of the priorities.
struct LogEntry {
  std::string text; ///< As it is written.
  std::string category, priority;
  std::size_t position = 0; ///< In the whole text.
};

/// The entries that the library reads, and the one without a category that ends them early.
std::vector<LogEntry> read_log_entries(std::string const &text);

/// The priorities that an entry may name.
std::vector<std::string> const &log_priorities();

/// The right name of a priority, in any case; empty if the text is none.
std::string log_priority_of(std::string_view text);

/// The categories to which the library logs, and those above them.
std::vector<std::string> const &log_categories();

} // namespace Ostrel::Tool
