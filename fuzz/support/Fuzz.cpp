// SPDX-License-Identifier: Apache-2.0
#include "fuzz/support/Fuzz.hpp"

#include "core/base/logging/LoggingCategory.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

using namespace std::string_view_literals;

unsigned char Input::take_byte() {
  unsigned char const byte = rest_.empty() ? 0 : static_cast<unsigned char>(rest_.front());
  rest_.remove_prefix(std::min<std::size_t>(1, rest_.size()));
  return byte;
}

unsigned int Input::take_number(unsigned int limit) {
  unsigned char const byte = take_byte();
  unsigned int const number = byte >= '0' && byte <= '9' ? byte - '0' : byte;
  return number % limit;
}

std::string_view Input::take_until(std::string_view mark) {
  std::size_t const length = std::min(rest_.find(mark), rest_.size());
  std::string_view const taken = rest_.substr(0, length);
  rest_.remove_prefix(std::min(length + mark.size(), rest_.size()));
  return taken;
}

std::string Input::take_text() {
  return std::string(take_until("\0"sv));
}

std::string_view Input::take_rest() {
  return std::exchange(rest_, {});
}

ExactCopy::ExactCopy(std::string_view bytes) : block_(new char[bytes.size()]) {
  bytes.copy(block_.get(), bytes.size());
}

void require(bool holds, char const *format, ...) {
  if (holds) {
    return;
  }
  std::va_list values;
  va_start(values, format);
  std::fputs("broken promise: ", stderr);
  std::vfprintf(stderr, format, values);
  std::fputc('\n', stderr);
  va_end(values);
  std::abort();
}

void silence_logging() {
  Ostrel::LoggingCategory::set_root_priority(Ostrel::LoggingPriority::DISABLED);
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *bytes, std::size_t size) {
  fuzz(Input({reinterpret_cast<char const *>(bytes), size}));
  return 0;
}
