// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Ostrel::Tool {

/// A configuration file that the library looks for, and its top key.
struct KnownFile {
  char const *name, *root;
};

constexpr KnownFile KNOWN_FILES[] = {
    {"application-config.xml", "Applications"},  {"behavior-config.xml", "Behaviors"},
    {"personality-config.xml", "Personalities"}, {"resource-config.xml", "Resources"},
    {"semantic-config.xml", "Semantics"},        {"user-config.xml", "UserConfig"}};

} // namespace Ostrel::Tool
