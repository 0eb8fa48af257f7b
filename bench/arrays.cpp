// SPDX-License-Identifier: Apache-2.0

// An array of 1,000,000 doubles, compared with a vector (peer) and with plain copies and
// comparisons of the bytes (limit).

#include "core/base/foundation/Array.hpp"

#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>
#include <vector>

using namespace Ostrel;

namespace {

constexpr unsigned int COUNT = 1000000;
constexpr std::size_t BYTES = COUNT * sizeof(double);

using Block = std::unique_ptr<char[]>;

template <typename Numbers> Numbers one_by_one() {
  Numbers numbers;
  for (unsigned int i = 0; i < COUNT; ++i) {
    numbers.push_back(i);
  }
  return numbers;
}

DoubleArray const &array() {
  static DoubleArray const instance = one_by_one<DoubleArray>();
  return instance;
}

double const *elements() {
  return static_cast<double const *>(array().data());
}

template <typename Numbers> void append(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(one_by_one<Numbers>().data());
  }
}

template <typename Numbers> void read(benchmark::State &state) {
  Numbers const numbers = one_by_one<Numbers>();
  for ([[maybe_unused]] auto const &_ : state) {
    double sum = 0;
    for (unsigned int i = 0; i < COUNT; ++i) {
      sum += numbers[i];
    }
    benchmark::DoNotOptimize(sum);
  }
}

void append_at_once(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    DoubleArray const other(elements(), COUNT);
    benchmark::DoNotOptimize(other.data());
  }
}

void copy(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    DoubleArray const other(array());
    benchmark::DoNotOptimize(other.data());
  }
}

void flatten(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    unsigned int length = 0;
    Block const buffer(array().flatten(length));
    benchmark::DoNotOptimize(buffer.get());
  }
}

void unflatten(benchmark::State &state) {
  unsigned int length = 0;
  Block const buffer(array().flatten(length));
  for ([[maybe_unused]] auto const &_ : state) {
    DoubleArray other;
    other.unflatten(buffer.get(), length);
    benchmark::DoNotOptimize(other.data());
  }
}

void copy_bytes(benchmark::State &state) {
  for ([[maybe_unused]] auto const &_ : state) {
    Block const block(new char[BYTES]);
    std::memcpy(block.get(), elements(), BYTES);
    benchmark::DoNotOptimize(block.get());
  }
}

void compare(benchmark::State &state) {
  DoubleArray const other(array());
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(other == array());
  }
}

void compare_bytes(benchmark::State &state) {
  DoubleArray const other(array());
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(std::memcmp(other.data(), elements(), BYTES));
  }
}

} // namespace

BENCHMARK_TEMPLATE(append, DoubleArray)->Name("append one by one/ours");
BENCHMARK_TEMPLATE(append, std::vector<double>)->Name("append one by one/peer");
BENCHMARK_TEMPLATE(read, DoubleArray)->Name("read by index/ours");
BENCHMARK_TEMPLATE(read, std::vector<double>)->Name("read by index/peer");
BENCHMARK(append_at_once)->Name("append at once/ours");
BENCHMARK(copy_bytes)->Name("append at once/limit");
BENCHMARK(copy)->Name("copy an array/ours");
BENCHMARK(copy_bytes)->Name("copy an array/limit");
BENCHMARK(flatten)->Name("flatten an array/ours");
BENCHMARK(copy_bytes)->Name("flatten an array/limit");
BENCHMARK(unflatten)->Name("unflatten an array/ours");
BENCHMARK(copy_bytes)->Name("unflatten an array/limit");
BENCHMARK(compare)->Name("compare arrays/ours");
BENCHMARK(compare_bytes)->Name("compare arrays/limit");
