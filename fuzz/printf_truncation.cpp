// SPDX-License-Identifier: Apache-2.0
// A text that is formatted into a small buffer is the beginning of the full text; likewise a log
// message.
#include "core/base/foundation/StringUtils.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "fuzz/support/Fuzz.hpp"
#include "tests/support/CapturedLog.hpp"

#include <array>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <utility>
#include <variant>

namespace {

using namespace Ostrel;

constexpr std::size_t FULL_SIZE = 1U << 16U;       // no text is longer
constexpr unsigned int MOST_WIDTH = 20000;         // longer than a log message can be
constexpr std::size_t WRAPPER_MESSAGE_SIZE = 4096; // with the terminator

using Value = std::variant<int, long, unsigned long, double, wint_t, char const *>;

// A conversion with a matching value.
struct Conversion {
  std::string format;
  Value value;
};

template <class Number> Number take_value(Input &input) {
  std::array<char, sizeof(Number)> bytes;
  for (char &byte : bytes) {
    byte = static_cast<char>(input.take_byte());
  }
  Number number;
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

std::string take_width(Input &input) {
  unsigned int const width = take_value<unsigned short>(input) % MOST_WIDTH;
  return width == 0 ? "" : std::to_string(width);
}

Conversion take_conversion(Input &input, std::string const &text) {
  std::string format = "%";
  for (unsigned int flags = input.take_byte(), i = 0; i < 5; ++i) {
    format += (flags >> i & 1U) != 0 ? std::string(1, "-+ #0"[i]) : "";
  }
  format += take_width(input);
  if (std::string const precision = take_width(input); !precision.empty()) {
    format += "." + precision;
  }
  switch (input.take_number(10)) {
  case 0:
    return {format + "d", take_value<int>(input)};
  case 1:
    return {format + "ld", take_value<long>(input)};
  case 2:
    return {format + "lu", take_value<unsigned long>(input)};
  case 3:
    return {format + "lx", take_value<unsigned long>(input)};
  case 4:
    return {format + "f", take_value<double>(input)};
  case 5:
    return {format + "g", take_value<double>(input)};
  case 6:
    return {format + "c", static_cast<int>(input.take_byte())};
  case 7:
    return {format + "lc", static_cast<wint_t>(input.take_byte())}; // fails outside ASCII
  default:
    return {format + "s", text.c_str()};
  }
}

struct Formatted {
  std::string full;
  int length; // negative if it cannot be formatted
};

template <class... Values> Formatted format_in_full(char const *format, Values... values) {
  static std::array<char, FULL_SIZE> buffer;
  int const length = std::snprintf(buffer.data(), buffer.size(), format, values...);
  return {std::string(buffer.data(), length < 0 ? 0 : static_cast<std::size_t>(length)), length};
}

template <class... Values>
void check_buffer(Formatted const &expected, unsigned int size, char const *format,
                  Values... values) {
  ExactCopy buffer(std::string(size, '#'));
  int const result = ovra_snprintf(buffer.data(), size, format, values...);
  if (expected.length < 0) {
    require(result < 0 && (size == 0 || std::memchr(buffer.data(), '\0', size) != nullptr),
            "%d for what cannot be formatted", result);
    return;
  }
  auto const length = static_cast<unsigned int>(expected.length);
  bool const has_a_length = length < size || (length == size && size > 0) || expected.full.empty();
  require(has_a_length ? result == expected.length : result < 0,
          "result %d for %u characters in %u", result, length, size);
  if (size > 0) {
    std::string const kept = expected.full.substr(0, size - 1);
    require(std::memcmp(buffer.data(), kept.c_str(), kept.size() + 1) == 0, "another text");
  }
  require(ovra_snprintf(nullptr, size, format, values...) == (length == 0 ? 0 : -1),
          "a length without a buffer");
}

std::string &lines() {
  static std::string instance;
  return instance;
}

// Writes to the lines.
LoggingCategory &category() {
  static LoggingCategory &instance = []() -> LoggingCategory & {
    LoggingCategory &created = LoggingCategory::get_instance("Fuzz");
    created.set_logging_output(new RecordingOutput(&lines()));
    return created;
  }();
  return instance;
}

// The text that the output receives; a message ends at its first terminator.
template <class... Values>
void check_log(Formatted const &expected, char const *format, Values... values) {
  std::string const full = expected.full.substr(0, expected.full.find('\0'));
  auto const longest = static_cast<std::size_t>(LoggingCategory::MAX_CATEGORY_SIZE) - 1;
  category().info(format, values...);
  require(std::exchange(lines(), {}) == "INFO  - " + full.substr(0, longest) + "\n",
          "another line");

  LoggingCategoryPrefixed prefixed(&category(), format, values...);
  std::string const kept = full.substr(0, WRAPPER_MESSAGE_SIZE - 1);
  prefixed.info(format, values...);
  require(std::exchange(lines(), {}) == "INFO  - " + kept + ": " + kept + "\n",
          "another line with a prefix");
}

template <class... Values>
void check(unsigned int size, std::string const &format, Values... values) {
  Formatted const expected = format_in_full(format.c_str(), values...);
  if (expected.full.size() >= FULL_SIZE) {
    return;
  }
  check_buffer(expected, size, format.c_str(), values...);
  check_buffer(expected, static_cast<unsigned int>(expected.full.size()), format.c_str(),
               values...);
  if (expected.length >= 0) {
    check_log(expected, format.c_str(), values...);
  }
}

std::string without_percent(std::string text) {
  for (char &character : text) {
    character = character == '%' ? '_' : character;
  }
  return text;
}

} // namespace

void fuzz(Input input) {
  unsigned int const size = take_value<unsigned short>(input) % FULL_SIZE;
  std::string const head = without_percent(input.take_text());
  std::string const tail = without_percent(input.take_text());
  std::string const text = input.take_text();
  Conversion const first = take_conversion(input, text), second = take_conversion(input, head);
  std::string const format = head + first.format + tail + second.format;
  std::visit([&](auto value, auto other) { check(size, format, value, other); }, first.value,
             second.value);
}
