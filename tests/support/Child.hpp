// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

/// A function that the test program runs when it is started again as a child, for behaviour that
/// happens once per process (environment, exit) or needs a process of its own.
///
/// Define one at namespace scope: `Role const warn_once("warn-once", [](auto const &arguments)
/// {...});` It may use the assertions of GoogleTest: if one fails, the exit status is not 0.
class Role {
public:
  using Arguments = std::vector<std::string>;
  using Run = int (*)(Arguments const &);

  Role(char const *name, Run run);

  /// Runs the role of that name and returns its exit status; 127 if there is none.
  static int play(std::string const &name, Arguments const &arguments);
};

struct ChildResult {
  int status = -1; // exit status, or the negated number of the signal that ended it
  std::string out; // standard output
  std::string err; // standard error
};

/// Changes to the environment of a child; a null value removes the variable. All other variables
/// are inherited, except the library's own.
using Environment = std::map<std::string, char const *>;

/// Starts this program again in that role and waits until it ends.
ChildResult run_child(std::string const &role, Role::Arguments const &arguments = {},
                      Environment const &environment = {});

/// Starts another program and waits until it ends.
ChildResult run_program(std::string const &program, std::vector<std::string> const &arguments,
                        Environment const &environment = {});
