// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

/// Something that a test program does when it is started again as a child: for what happens once
/// per process (environment, exit) or needs a process of its own.
///
/// Define one at namespace scope: `Role const warn_once("warn-once", [](auto const &arguments)
/// {...});` It may use the assertions of GoogleTest: when one fails, the status is not 0.
class Role {
public:
  using Arguments = std::vector<std::string>;
  using Run = int (*)(Arguments const &);

  Role(char const *name, Run run);

  /// Runs the role of that name and gives its exit status; 127 when there is none.
  static int play(std::string const &name, Arguments const &arguments);
};

struct ChildResult {
  int status = -1; // exit status, or minus the signal that ended it
  std::string out; // standard output
  std::string err; // standard error
};

/// Changes to the environment that a child starts with; an entry without a value removes the
/// variable. What it does not name is inherited, but for the library's own variables.
using Environment = std::map<std::string, char const *>;

/// Starts this program again in that role and waits for its end.
ChildResult run_child(std::string const &role, Role::Arguments const &arguments = {},
                      Environment const &environment = {});
