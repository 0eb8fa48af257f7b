// SPDX-License-Identifier: Apache-2.0

// Trimming and splitting 1 KB of text: ours, Abseil (peer) and the standard library (limit).

#include "core/base/foundation/StringUtils.hpp"

#include <absl/strings/ascii.h>
#include <absl/strings/str_split.h>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cctype>
#include <deque>
#include <iterator>
#include <sstream>
#include <string>

using namespace Ostrel;

namespace {

// Words of up to nine characters, with one to three separators after each.
std::string text_of(char separator) {
  constexpr std::size_t SIZE = 1024;
  std::string text;
  for (std::size_t i = 0; text.size() < SIZE; ++i) {
    text.append(1 + i % 9, static_cast<char>('a' + i % 26)).append(1 + i % 3, separator);
  }
  text.resize(SIZE);
  return text;
}

void trim_ours(benchmark::State &state) {
  std::string const text = text_of(' ');
  std::string out;
  for ([[maybe_unused]] auto const &_ : state) {
    StringUtils::trim(text.c_str(), StringUtils::SPACE, &out);
    benchmark::DoNotOptimize(out.data());
  }
}

void trim_peer(benchmark::State &state) {
  std::string const text = text_of(' ');
  std::string out;
  for ([[maybe_unused]] auto const &_ : state) {
    out = text;
    absl::RemoveExtraAsciiWhitespace(&out);
    benchmark::DoNotOptimize(out.data());
  }
}

bool is_space(char character) {
  return std::isspace(static_cast<unsigned char>(character)) != 0;
}

void trim_limit(benchmark::State &state) {
  std::string const text = text_of(' ');
  std::string out;
  for ([[maybe_unused]] auto const &_ : state) {
    out.clear();
    std::unique_copy(std::find_if_not(text.begin(), text.end(), is_space), text.end(),
                     std::back_inserter(out),
                     [](char left, char right) { return is_space(left) && is_space(right); });
    if (!out.empty() && is_space(out.back())) {
      out.pop_back();
    }
    benchmark::DoNotOptimize(out.data());
  }
}

void split_ours(benchmark::State &state) {
  std::string const text = text_of(';');
  for ([[maybe_unused]] auto const &_ : state) {
    std::deque<std::string> out;
    StringUtils::split(text.c_str(), ';', &out);
    benchmark::DoNotOptimize(out);
  }
}

void split_peer(benchmark::State &state) {
  std::string const text = text_of(';');
  for ([[maybe_unused]] auto const &_ : state) {
    std::deque<std::string> out = absl::StrSplit(text, ';');
    benchmark::DoNotOptimize(out);
  }
}

void split_limit(benchmark::State &state) {
  std::string const text = text_of(';');
  for ([[maybe_unused]] auto const &_ : state) {
    std::istringstream stream(text);
    std::deque<std::string> out;
    for (std::string field; std::getline(stream, field, ';');) {
      out.push_back(field);
    }
    benchmark::DoNotOptimize(out);
  }
}

} // namespace

BENCHMARK(trim_ours)->Name("trim 1 KB/ours");
BENCHMARK(trim_peer)->Name("trim 1 KB/peer");
BENCHMARK(trim_limit)->Name("trim 1 KB/limit");
BENCHMARK(split_ours)->Name("split 1 KB/ours");
BENCHMARK(split_peer)->Name("split 1 KB/peer");
BENCHMARK(split_limit)->Name("split 1 KB/limit");
