// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

/// The first and the second use of a subsystem, with files in a fresh directory. The constructor
/// sets the environment that the subsystem reads.
class Scenario {
public:
  Scenario() = default;
  Scenario(Scenario const &) = delete;
  Scenario &operator=(Scenario const &) = delete;
  virtual ~Scenario() = default;

  /// The first use, in which steps fail.
  virtual void use() = 0;
  /// Checks the first use, and repeats it without failures.
  virtual void use_again() = 0;
};

// Each takes the fresh directory, and the error of the system calls that fail; 0 if allocations
// fail.

std::unique_ptr<Scenario> make_settings(std::string const &directory, int error);
std::unique_ptr<Scenario> make_registry_settings(std::string const &directory, int error);
std::unique_ptr<Scenario> make_log(std::string const &directory, int error);
std::unique_ptr<Scenario> make_mutexes(std::string const &directory, int error);
std::unique_ptr<Scenario> make_library(std::string const &directory, int error);
std::unique_ptr<Scenario> make_lists(std::string const &directory, int error);

/// Reports a fault of this round, of which the first counts.
/// @return `holds`.
bool require(bool holds, char const *what);

/// The number of steps that failed in the first use.
unsigned int failed_steps();
