// SPDX-License-Identifier: Apache-2.0

// A line in a log file that other processes can read when the call returns.

#include "bench/documents.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

LoggingCategory &our_category() {
  static TemporaryFile const file;
  auto &category = LoggingCategory::get_instance("LogFile");
  category.set_logging_output(new FileLoggingOutput(file.path(), nullptr));
  return category;
}

void ours(benchmark::State &state) {
  static LoggingCategory &category = our_category();
  int value = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    category.info("the robot is at %d of %s", ++value, "the corridor");
  }
}

std::shared_ptr<spdlog::logger> peer_logger() {
  static TemporaryFile const file;
  auto logger = spdlog::basic_logger_mt("log file", file.path());
  logger->set_pattern("%l - %v");
  logger->flush_on(spdlog::level::info);
  return logger;
}

void peer(benchmark::State &state) {
  static auto const logger = peer_logger();
  int value = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    logger->info("the robot is at {} of {}", ++value, "the corridor");
  }
}

// One formatting and one appending write.
void limit(benchmark::State &state) {
  static TemporaryFile const file;
  static int const descriptor = open(file.path(), O_WRONLY | O_APPEND | O_CLOEXEC);
  std::array<char, 1024> buffer;
  int value = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    int const size = std::snprintf(buffer.data(), buffer.size(),
                                   "INFO  - the robot is at %d of %s\n", ++value, "the corridor");
    benchmark::DoNotOptimize(write(descriptor, buffer.data(), static_cast<std::size_t>(size)));
  }
}

} // namespace

BENCHMARK(ours)->Name("line to a file, 1 thread/ours");
BENCHMARK(peer)->Name("line to a file, 1 thread/peer");
BENCHMARK(limit)->Name("line to a file, 1 thread/limit");
BENCHMARK(ours)->Name("line to a file, 4 threads/ours")->Threads(4)->UseRealTime();
BENCHMARK(peer)->Name("line to a file, 4 threads/peer")->Threads(4)->UseRealTime();
BENCHMARK(limit)->Name("line to a file, 4 threads/limit")->Threads(4)->UseRealTime();
