// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// One input of a target, consumed from front to back. After its end everything is empty or 0.
class Input {
public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  bool is_at_end() const { return rest_.empty(); }

  unsigned char take_byte();

  /// Consumes a number below `limit` (1 to 256). A digit means its own value, so that an input can
  /// be written by hand.
  unsigned int take_number(unsigned int limit);

  /// Consumes the text before the mark, and the mark; everything if there is no mark.
  std::string_view take_until(std::string_view mark);

  /// Consumes a text up to its terminator.
  std::string take_text();

  /// Consumes the rest.
  std::string_view take_rest();

private:
  std::string_view rest_;
};

/// A copy in a block of its exact size, so that a sanitizer detects accesses beyond it.
class ExactCopy {
public:
  explicit ExactCopy(std::string_view bytes);

  char *data() { return block_.get(); }

private:
  std::unique_ptr<char[]> block_;
};

/// Ends the run with the message if the condition is false. The fuzzer then keeps the input.
void require(bool holds, char const *format, ...) OSTBASE_PRINTF(2, 3);

/// Disables the library's log: faults of an input are expected.
void silence_logging();

/// Runs a target on one input; each target defines its own.
void fuzz(Input input);
