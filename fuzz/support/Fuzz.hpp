// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// One input of a target, taken apart from front to back. Behind its end everything is empty or 0.
class Input {
public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  bool is_at_end() const { return rest_.empty(); }

  unsigned char take_byte();

  /// Takes a number below `limit` (at most 256, at least 1). Digits of text stand for themselves,
  /// so that an input can be written by hand.
  unsigned int take_number(unsigned int limit);

  /// Takes what stands before the mark, and the mark off; all of it when there is no such mark.
  std::string_view take_until(std::string_view mark);

  /// Takes a text as C has it, up to its terminator.
  std::string take_text();

  /// Takes all that is left.
  std::string_view take_rest();

private:
  std::string_view rest_;
};

/// A copy in a block of exactly its size: to read or write beyond it is seen.
class ExactCopy {
public:
  explicit ExactCopy(std::string_view bytes);

  char *data() { return block_.get(); }

private:
  std::unique_ptr<char[]> block_;
};

/// Ends the run, with the message, when something that was promised does not hold. The fuzzer then
/// keeps the input.
void require(bool holds, char const *format, ...) OSTBASE_PRINTF(2, 3);

/// Lets the library log nothing: what is wrong with an input is no news.
void silence_logging();

/// What a target does with one input; each defines its own.
void fuzz(Input input);
