// SPDX-License-Identifier: Apache-2.0

// Converting a value between two named units: ours, a hash table with the same signature, and a
// library that parses units as expressions.

#include "core/base/units/Units.hpp"

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <iterator>
#include <memory>
#include <string>
#include <udunits2.h>

using namespace Ostrel;

namespace {

struct Conversion {
  char const *from, *to;
};

// Queried in turn.
constexpr Conversion CONVERSIONS[] = {{"m", "in"},        {"cm", "meters"},  {"foot", "mm"},
                                      {"inches", "feet"}, {"meter", "inch"}, {"millimeters", "ft"}};

template <typename Convert> void convert_in_turn(benchmark::State &state, Convert const &convert) {
  double value = 1.5;
  while (state.KeepRunningBatch(std::size(CONVERSIONS))) {
    for (Conversion const &conversion : CONVERSIONS) {
      double result = 0;
      if (!convert(conversion.from, value, conversion.to, &result)) {
        state.SkipWithError("not converted");
      }
      benchmark::DoNotOptimize(result);
    }
  }
}

void ours(benchmark::State &state) {
  convert_in_turn(state, [](char const *from, double value, char const *to, double *result) {
    return Units::convert_units(UNIT_TYPE_DISTANCE, from, value, to, result) == 0;
  });
}

using Factors = absl::flat_hash_map<std::string, double>;

Factors const &factors() {
  static Factors const instance = {
      {"mm", 0.1},       {"millimeter", 0.1}, {"millimeters", 0.1}, {"cm", 1},
      {"centimeter", 1}, {"centimeters", 1},  {"Centimeter", 1},    {"Centimeters", 1},
      {"m", 100},        {"meter", 100},      {"meters", 100},      {"in", 2.54},
      {"inch", 2.54},    {"inches", 2.54},    {"Inch", 2.54},       {"Inches", 2.54},
      {"ft", 30.48},     {"foot", 30.48},     {"feet", 30.48},      {"Foot", 30.48},
      {"Feet", 30.48},   {"fists", 32}};
  return instance;
}

// With the signature of our function.
__attribute__((noinline)) bool convert_by_hash_table(std::string from, double value, std::string to,
                                                     double *result) {
  auto const first = factors().find(from), second = factors().find(to);
  if (first == factors().end() || second == factors().end()) {
    return false;
  }
  *result = value * first->second / second->second;
  return true;
}

void hash_table(benchmark::State &state) {
  convert_in_turn(state, convert_by_hash_table);
}

struct FreeSystem {
  void operator()(ut_system *system) const { ut_free_system(system); }
};
struct FreeUnit {
  void operator()(ut_unit *unit) const { ut_free(unit); }
};
struct FreeConverter {
  void operator()(cv_converter *converter) const { cv_free(converter); }
};
using Unit = std::unique_ptr<ut_unit, FreeUnit>;

std::unique_ptr<ut_system, FreeSystem> read_system() {
  ut_set_error_message_handler(ut_ignore);
  return std::unique_ptr<ut_system, FreeSystem>(ut_read_xml(nullptr));
}

void terms(benchmark::State &state) {
  static auto const system = read_system();
  convert_in_turn(state, [](char const *from, double value, char const *to, double *result) {
    Unit const first(ut_parse(system.get(), from, UT_ASCII));
    Unit const second(ut_parse(system.get(), to, UT_ASCII));
    std::unique_ptr<cv_converter, FreeConverter> const converter(
        ut_get_converter(first.get(), second.get()));
    if (converter == nullptr) {
      return false;
    }
    *result = cv_convert_double(converter.get(), value);
    return true;
  });
}

} // namespace

BENCHMARK(ours)->Name("convert by unit names/ours");
BENCHMARK(hash_table)->Name("convert by unit names/peer");
BENCHMARK(ours)->Name("convert beside terms/ours");
BENCHMARK(terms)->Name("convert beside terms/peer");
