// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <string>

namespace CLI {
class App;
}

namespace Ostrel::Tool {

/// Prints a script that completes the commands and options of `app`, the choices of options, and
/// the keys of the settings.
///
/// @param shell  bash or zsh.
/// @return the exit status.
int run_completion(Output &output, CLI::App const &app, std::string const &shell);

} // namespace Ostrel::Tool
