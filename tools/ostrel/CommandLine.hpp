// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/ostrel/Output.hpp"

#include <functional>

namespace CLI {
class App;
}

namespace Ostrel::Tool {

/// A command with its arguments. Returns the exit status.
using Command = std::function<int(Output &)>;

/// Adds all commands.
///
/// @param app       outlives the selected command.
/// @param selected  receives, in a parse, the command that was typed.
void add_commands(CLI::App &app, Command *selected);

} // namespace Ostrel::Tool
