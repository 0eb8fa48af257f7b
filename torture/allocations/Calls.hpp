// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "torture/allocations/Scenario.hpp"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

// The calls of the scenario by subject, in the order in which they are made.

std::vector<Call> foundation_calls();
std::vector<Call> platform_calls();
std::vector<Call> logging_calls();
std::vector<Call> config_calls();
std::vector<Call> capi_calls();
std::vector<Call> last_calls();

/// The directory of all files that are read or written, and the path of a name in it.
std::string const &scenario_directory();
std::string in_directory(char const *name);

/// Sets the variable that names the directory again, after an operation that removes it.
void restore_config_path();

Outcome right_if(bool is_right);

/// The outcome of an operation that reports a lack of memory by its code, or by one of `others`.
Outcome by_code(unsigned long result, bool is_right,
                std::initializer_list<unsigned long> others = {});

/// The outcome of an operation that may do nothing for lack of memory.
Outcome all_or_nothing(bool is_done, bool is_nothing);

/// The worst of several outcomes.
Outcome worst(std::initializer_list<Outcome> outcomes);

/// The text that is appended to a file during the life of this object.
class NewText {
public:
  explicit NewText(std::string path);

  /// Without the message that logging writes once if there was no memory for its set-up.
  std::string text() const;
  /// The outcome of writing only this text: a line is lost if there is no memory for it.
  Outcome is(std::string const &expected) const;
  /// The same for one line of several.
  Outcome has(std::string const &expected) const;

private:
  std::string path_;
  std::size_t before_;
};

constexpr char const *STANDARD_ERROR = "/proc/self/fd/2";
