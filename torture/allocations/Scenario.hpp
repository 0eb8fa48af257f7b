// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// What came of a call.
enum class Outcome {
  RIGHT,   // what it gives when nothing fails
  REFUSED, // what its documentation says for a lack of memory
  WRONG
};

/// One call of the library, or a few that belong together, with memory that may fail inside. Can be
/// made again and again in one process.
struct Call {
  char const *name;
  Outcome (*make)();
};

/// Calls over every part of the library, in an order in which none needs another one.
std::vector<Call> const &scenario();

/// Writes the files that the calls read.
/// @param place  the directory that has them all, and takes what is written.
void write_scenario_files(std::string const &place);

/// To be called before the first call.
void set_scenario_directory(std::string const &place);

/// How often the calls have set a variable by the C library's means, after which the library keeps
/// one more array of the environment.
unsigned long kept_environments();
