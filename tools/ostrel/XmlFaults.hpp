// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Findings.hpp"

#include <optional>
#include <string>
#include <string_view>

struct _xmlError;

namespace Ostrel::Tool {

/// Turns an error of the parser into a finding.
///
/// @param text  of the file, to show where a mistake began that the parser noticed later.
Finding describe_parser_error(_xmlError const &error, std::string const &path,
                              std::string_view text);

/// Finds an encoding that is declared, but not that of the text: the parser accepts most bytes in
/// most encodings.
std::optional<Finding> find_wrong_encoding(std::string const &path, std::string_view text);

} // namespace Ostrel::Tool
