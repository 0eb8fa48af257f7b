// SPDX-License-Identifier: Apache-2.0
// Numbers in a configuration: texts that are read as numbers and as series, and numbers that are
// written and read again.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/units/Units.hpp"
#include "fuzz/support/Fuzz.hpp"

#include <cctype>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

namespace {

using namespace Ostrel;

constexpr long UNTOUCHED = 4711;

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

// The numbers and colons of a series; a colon has no number.
std::vector<std::optional<long>> tokens_of(std::string const &text) {
  std::vector<std::optional<long>> tokens;
  for (char const *at = text.c_str(); *at != '\0';) {
    bool const is_number = is_digit(*at) || (*at == '-' && is_digit(at[1]));
    char *end = nullptr;
    if (is_number) {
      tokens.emplace_back(std::strtol(at, &end, 10));
    } else if (*at == ':') {
      tokens.emplace_back();
    }
    at = is_number ? end : at + 1;
  }
  return tokens;
}

class Series {
public:
  explicit Series(std::size_t capacity) : capacity_(capacity) {}

  void add(long first, long last) {
    for (long number = first; numbers.size() < capacity_; number += first < last ? 1 : -1) {
      numbers.push_back(number);
      if (number == last) {
        return;
      }
    }
  }

  std::vector<long> numbers;

private:
  std::size_t capacity_;
};

std::vector<long> expected_series(std::string const &text, std::size_t capacity) {
  Series series(capacity);
  std::optional<long> start; // of a range
  std::optional<long> last;  // the last item read, unless that was a colon
  bool has_begun = false;
  for (std::optional<long> const &token : tokens_of(text)) {
    if (token.has_value()) {
      if (last.has_value()) {
        series.add(start.value_or(*last), *last);
        start.reset();
      }
      last = token;
      has_begun = true;
    } else if (has_begun) {
      start = last.value_or(0); // no number between two colons
      last.reset();
    }
  }
  if (last.has_value()) {
    series.add(start.value_or(*last), *last);
  }
  return series.numbers;
}

// A key with a text, if a file can hold the text.
class OneValue {
public:
  OneValue() : configuration(source_) {
    source_.create_source(XmlConfigSource::CREATE_GIVEN_PATH, "nowhere.xml", "Top");
  }

  bool set(std::string const &text) {
    return configuration.set_value("Top", "v", text.c_str(), false) == RESULT_SUCCESS;
  }

  template <class Number> Number get() const {
    Number number{};
    require(configuration.get_value("Top", "v", &number) == RESULT_SUCCESS, "no number");
    return number;
  }

  // The number as read again.
  template <class Number> Number stored(Number number) {
    require(configuration.set_value("Top", "v", number, false) == RESULT_SUCCESS, "not stored");
    return get<Number>();
  }

  std::vector<long> series(unsigned int capacity) const {
    std::vector<long> array(capacity + 1, UNTOUCHED);
    unsigned int count = capacity;
    require(configuration.get_series("Top", "v", array.data(), &count) == RESULT_SUCCESS,
            "no series");
    require(count <= capacity && array[count] == UNTOUCHED, "%u numbers for %u", count, capacity);
    array.resize(count);
    return array;
  }

private:
  XmlConfigSource source_;

public:
  Configuration configuration;
};

bool is_same(double left, double right) {
  return left == right || (std::isnan(left) && std::isnan(right));
}

void check_series(OneValue const &value, std::string const &text, unsigned int capacity) {
  std::vector<long> const series = value.series(capacity);
  require(series == expected_series(text, capacity), "another series");
  std::string written;
  for (long const number : series) {
    written += std::to_string(number) + " ";
  }
  OneValue again;
  require(again.set(written) && again.series(capacity) == series, "another series comes back");
}

void check_numbers(OneValue const &value, std::string const &text) {
  require(value.get<std::string>() == text, "another text");
  require(value.get<long>() == std::strtol(text.c_str(), nullptr, 10), "another long");
  require(value.get<unsigned long>() == std::strtoul(text.c_str(), nullptr, 10),
          "another unsigned long");
  require(is_same(value.get<double>(), std::strtod(text.c_str(), nullptr)), "another double");
}

void check_written(OneValue &value, std::string_view bytes) {
  constexpr std::size_t WRITTEN_SIZE = 64; // with the terminator
  constexpr double MOST_EXACT = 1e15;      // up to here twelve digits are exact enough
  unsigned long number = 0;
  std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
  double real = 0;
  std::memcpy(&real, &number, sizeof real);
  require(value.stored(number) == number, "%lu does not come back", number);
  require(value.stored(static_cast<long>(number)) == static_cast<long>(number),
          "%ld does not come back", static_cast<long>(number));
  double const back = value.stored(real);
  char written[WRITTEN_SIZE];
  std::snprintf(written, sizeof written, "%.12f", real);
  require(value.get<std::string>() == written, "%s is written otherwise", written);
  require(is_same(back, std::strtod(written, nullptr)), "%s is read otherwise", written);
  require(!(std::fabs(real) < MOST_EXACT) || std::fabs(back - real) <= 1e-12,
          "%.17g comes back as %.17g", real, back);
}

// A strict read accepts the texts that the C library reads to their end, with the same value.
void check_strict(std::string const &text) {
  constexpr char KEY[] = "UserConfig/Fuzz/v";
  require(UserConfig::set_user_config(KEY, text.c_str(), /*commit=*/false) == RESULT_SUCCESS,
          "a text is not set");
  bool const is_plain = text.find_first_not_of("+-.0123456789eE") == text.npos;
  char *end = nullptr;
  double const expected = std::strtod(text.c_str(), &end);
  bool const is_number = is_plain && !text.empty() && *end == '\0';
  double real = UNTOUCHED;
  unsigned long const read = UserConfig::get_user_config(KEY, &real);
  require(read == RESULT_SUCCESS ? is_number && is_same(real, expected) : real == UNTOUCHED,
          "'%s' is read as %g", text.c_str(), real);
  bool const is_in_range = std::fabs(expected) >= DBL_MIN && std::isfinite(expected);
  require(read == RESULT_SUCCESS || !is_number || !is_in_range, "'%s' is refused", text.c_str());
  errno = 0;
  long const expected_whole = std::strtol(text.c_str(), &end, 10);
  bool const is_whole = is_plain && !text.empty() && *end == '\0' && errno == 0;
  long whole = UNTOUCHED;
  require((UserConfig::get_user_config(KEY, &whole) == RESULT_SUCCESS) == is_whole &&
              whole == (is_whole ? expected_whole : UNTOUCHED),
          "'%s' is read as %ld", text.c_str(), whole);
  double quantity = UNTOUCHED;
  unsigned long const converted = UserConfig::get_user_quantity(KEY, UNIT_TYPE_TIME, &quantity);
  require(converted == RESULT_SUCCESS ? std::isfinite(quantity) : quantity == UNTOUCHED,
          "'%s' is converted to %g", text.c_str(), quantity);
  require(read != RESULT_SUCCESS || is_same(quantity, real), "'%s' is no number of seconds",
          text.c_str());
}

} // namespace

void fuzz(Input input) {
  silence_logging();
  constexpr unsigned int MOST_NUMBERS = 256;
  unsigned int const capacity = input.take_number(MOST_NUMBERS);
  std::string const text = input.take_text();
  OneValue value;
  if (value.set(text)) {
    check_series(value, text, capacity);
    check_numbers(value, text);
  }
  check_strict(text);
  check_written(value, text);
  check_written(value, input.take_rest());
}
