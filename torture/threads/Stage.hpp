// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "torture/support/Torture.hpp"

#include <cstddef>
#include <functional>
#include <vector>

/// Where a thread is: a number of its own from 0, and one that is random.
struct Turn {
  int thread;
  unsigned int random;

  /// One of the values, by chance.
  template <class Value, std::size_t COUNT> Value const &pick(Value const (&values)[COUNT]) const {
    return values[random % COUNT];
  }
};

/// What the header of a class allows several threads to do at once, over one set of objects.
struct Stage {
  /// Any two of them may run at the same time, also one beside itself.
  std::vector<std::function<void(Turn const &)>> operations;
  /// Looks at what is left in the end; may be empty.
  std::function<void()> check = {};
};

// Each makes the objects of its stage, which the operations keep.

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
