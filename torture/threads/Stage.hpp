// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "torture/support/Torture.hpp"

#include <cstddef>
#include <functional>
#include <vector>

/// The context of an operation: the number of the thread, from 0, and a random number.
struct Context {
  int thread;
  unsigned int random;

  /// One of the values, at random.
  template <class Value, std::size_t COUNT> Value const &pick(Value const (&values)[COUNT]) const {
    return values[random % COUNT];
  }
};

/// Operations on one set of objects that the headers allow several threads to run at once.
struct Stage {
  /// Any two may run at the same time, also twice the same.
  std::vector<std::function<void(Context const &)>> operations;
  /// Checks the final state; may be empty.
  std::function<void()> check = {};
};

// Each creates the objects of its stage, which the operations own.

Stage configuration_by_path(Torture &torture);
Stage configuration_by_handle(Torture &torture);
Stage user_settings(Torture &torture);
Stage logging(Torture &torture);
Stage units(Torture &torture);
Stage mutexes(Torture &torture);
Stage condition_variable(Torture &torture);
Stage counted_objects(Torture &torture);
Stage environment_and_libraries(Torture &torture);
Stage console_and_files(Torture &torture);
