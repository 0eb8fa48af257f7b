// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// Process functions for Child.hpp, implemented in posix/Process.cpp and windows/Process.cpp.

using Texts = std::vector<std::string>;

/// Returns the entries of this process's environment, "NAME=value".
Texts environment_entries();

/// Returns the path of this program.
std::string this_program();

/// Starts a program with that environment, its output redirected to two new files, and waits until
/// it ends. Returns its exit status, or the negated number of the signal that ended it.
int execute(std::string const &program, Texts arguments, Texts environment, std::string const &out,
            std::string const &err);
