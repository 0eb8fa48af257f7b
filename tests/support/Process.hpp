// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// What Child.hpp needs of the system: posix/Process.cpp and windows/Process.cpp.

using Texts = std::vector<std::string>;

/// The entries of this process's environment, "NAME=value".
Texts environment_entries();

/// Starts this program again with those arguments and that environment, its output in two new
/// files, and waits for its end. Gives its exit status, or minus the signal that ended it.
int run_this_program(Texts arguments, Texts environment, std::string const &out,
                     std::string const &err);
