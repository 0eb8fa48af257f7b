// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingPriority.hpp"

#include <string_view>

namespace Ostrel {

/// Parses the texts that configure logging from the environment. Internal to the library.
namespace LoggingSpec {

struct Entry {
  std::string_view category; // both borrowed from the text
  std::string_view priority;
  unsigned int next; // position of the next entry, or LoggingCategory::npos
};

/// Parses the entry that starts at `position`.
Entry read_entry(std::string_view text, unsigned int position);

/// Parses the name of a priority, ignoring case: an empty name is `DEBUG`, an unknown one
/// `NOT_SET`.
LoggingPriority::PriorityLevel priority_from_name(std::string_view name);

/// Compares two texts, ignoring case.
bool is_same_word(std::string_view left, std::string_view right);

} // namespace LoggingSpec

} // namespace Ostrel
