// SPDX-License-Identifier: Apache-2.0

// Runs all benchmarks in many short interleaved repetitions, so that other load on the machine
// affects all columns alike, and prints the medians as one table. A benchmark is named by its row
// and column: "dropped call, depth 1/ours". Only ratios within one run are meaningful.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

struct Row {
  char const *work;
  char const *beside; // the column that ours is compared with
  double wanted;      // the largest acceptable ratio
  char const *unit;   // of the benchmark's own counter; null for time
};

constexpr Row ROWS[] = {
    {"dropped call, depth 1", "limit", 2.0, nullptr},
    {"dropped call, depth 8", "limit", 2.0, nullptr},
    {"line to a file, 1 thread", "limit", 1.1, nullptr},
    {"line to a file, 4 threads", "limit", 1.5, nullptr},
    {"load 10,000 keys", "limit", 1.05, nullptr},
    {"memory of 10,000 keys", "limit", 1.2, "KB"},
    {"value by key path", "peer", 0.6, nullptr},
    {"2,000 keys by index", "peer", 0.1, nullptr},
    {"cached setting, 1 thread", "peer", 1.0, nullptr},
    {"cached setting, 4 threads", "peer", 1.0, nullptr},
    {"followed setting", "limit", 1.5, nullptr},
    {"load the library and end", "limit", 1.5, nullptr},
    {"lock and unlock", "peer", 0.85, nullptr},
    {"wait, there and back", "peer", 0.6, nullptr},
    {"trim 1 KB", "peer", 1.1, nullptr},
    {"split 1 KB", "limit", 0.75, nullptr},
    {"result code to text", "peer", 0.5, nullptr},
    {"owner, unprotected", "peer", 0.6, nullptr},
    {"owner, own mutex", "peer", 3.0, nullptr},
    {"append one by one", "peer", 1.05, nullptr},
    {"read by index", "peer", 1.05, nullptr},
    {"append at once", "limit", 1.1, nullptr},
    {"copy an array", "limit", 1.1, nullptr},
    {"flatten an array", "limit", 1.1, nullptr},
    {"unflatten an array", "limit", 1.1, nullptr},
    {"compare arrays", "limit", 1.1, nullptr},
    {"convert by unit names", "peer", 0.95, nullptr},
    {"convert beside terms", "peer", 0.015, nullptr},
};

class TableReporter : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(Context const & /*context*/) override { return true; }

  void ReportRuns(std::vector<Run> const &runs) override {
    for (Run const &run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        auto const counted = run.counters.find("KB");
        samples_[run.run_name.function_name].push_back(
            counted == run.counters.end() ? run.GetAdjustedRealTime() : counted->second.value);
      }
    }
  }

  void print() {
    std::printf("%-27s %10s %10s %10s %11s %11s  %s\n", "work", "ours", "peer", "limit",
                "ours/peer", "ours/limit", "wanted");
    for (Row const &row : ROWS) {
      print(row);
    }
  }

private:
  static constexpr double MISSING = -1;

  double median(Row const &row, char const *column) {
    std::vector<double> &sample = samples_[std::string(row.work) + "/" + column];
    if (sample.empty()) {
      return MISSING;
    }
    std::sort(sample.begin(), sample.end());
    return sample[sample.size() / 2];
  }

  // Benchmarks report nanoseconds.
  static std::string text(double value, char const *unit) {
    if (value == MISSING) {
      return "-";
    }
    if (unit == nullptr) {
      constexpr std::array<char const *, 3> UNITS = {"ns", "us", "ms"};
      std::size_t i = 0;
      for (; value >= 1000 && i + 1 < UNITS.size(); ++i) {
        value /= 1000;
      }
      unit = UNITS.at(i);
    }
    std::array<char, 32> buffer;
    std::snprintf(buffer.data(), buffer.size(), "%.4g %s", value, unit);
    return buffer.data();
  }

  static std::string ratio(double ours, double other) {
    return ours == MISSING || other == MISSING ? "-" : text(ours / other, "x");
  }

  void print(Row const &row) {
    double const ours = median(row, "ours");
    double const peer = median(row, "peer");
    double const limit = median(row, "limit");
    if (ours == MISSING) {
      return;
    }
    double const held_against = std::strcmp(row.beside, "peer") == 0 ? peer : limit;
    std::printf("%-27s %10s %10s %10s %11s %11s  <= %.3g x %s%s\n", row.work,
                text(ours, row.unit).c_str(), text(peer, row.unit).c_str(),
                text(limit, row.unit).c_str(), ratio(ours, peer).c_str(),
                ratio(ours, limit).c_str(), row.wanted, row.beside,
                ours <= row.wanted * held_against ? "" : "  (missed)");
  }

  std::map<std::string, std::vector<double>> samples_;
};

} // namespace

int main(int argc, char **argv) {
  std::array<std::string, 3> settings = {"--benchmark_repetitions=25",
                                         "--benchmark_enable_random_interleaving=true",
                                         "--benchmark_min_time=0.02"};
  std::vector<char *> arguments = {argv[0]};
  for (std::string &setting : settings) {
    arguments.push_back(setting.data());
  }
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());

  TableReporter table;
  benchmark::RunSpecifiedBenchmarks(&table);
  table.print();
  return 0;
}
