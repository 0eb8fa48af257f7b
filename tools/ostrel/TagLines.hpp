// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// The lines of a tag.
struct TagLines {
  long line = 0;                      ///< Of its '<'.
  std::map<std::string, long> values; ///< Of each attribute, by its name as written.
};

/// Finds the lines of all start tags of a well-formed text, in their order. The parser knows only
/// the line in which a tag ends.
std::vector<TagLines> find_tag_lines(std::string_view text);

} // namespace Ostrel::Tool
