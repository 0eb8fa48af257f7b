// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// The outcome of a call.
enum class Outcome {
  RIGHT,   // as without failures
  REFUSED, // as documented for a lack of memory
  WRONG
};

/// A call of the library, or a few related ones, in which allocations may fail. Can be repeated in
/// one process.
struct Call {
  char const *name;
  Outcome (*make)();
};

/// Calls of every part of the library, independent of each other.
std::vector<Call> const &scenario();

/// Writes the files that the calls read.
/// @param place  the directory of all files that are read or written.
void write_scenario_files(std::string const &place);

/// Prepares this process. Must precede the first call.
void set_scenario_directory(std::string const &place);

/// The memory blocks of the arrays of the environment that the library keeps: one more array after
/// each change of a variable by the C library.
unsigned long kept_environments();
