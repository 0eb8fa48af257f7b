// SPDX-License-Identifier: Apache-2.0

// Loading a large document, compared with the parser alone: time and memory.

#include "bench/documents.hpp"
#include "core/base/config/XmlConfigSource.hpp"

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <memory>

using namespace Ostrel;

namespace {

struct FreeDocument {
  void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

using Document = std::unique_ptr<xmlDoc, FreeDocument>;

char const *document_path() {
  static TemporaryFile const file(large_document());
  return file.path();
}

std::unique_ptr<XmlConfigSource> load() {
  auto source = std::make_unique<XmlConfigSource>();
  source->set_search_path(nullptr);
  source->init_source(document_path());
  return source;
}

Document parse() {
  return Document(xmlReadFile(document_path(), nullptr, XML_PARSE_NOBLANKS));
}

template <typename Make> void time(benchmark::State &state, Make make) {
  for ([[maybe_unused]] auto const &_ : state) {
    benchmark::DoNotOptimize(make());
  }
}

double kilobytes_in_use() {
  struct mallinfo2 const info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd) / 1024;
}

template <typename Make> void memory(benchmark::State &state, Make make) {
  make(); // excludes allocations that happen once per process
  for ([[maybe_unused]] auto const &_ : state) {
    double const before = kilobytes_in_use();
    auto const loaded = make();
    state.counters["KB"] = kilobytes_in_use() - before;
  }
}

} // namespace

BENCHMARK_CAPTURE(time, ours, load)->Name("load 10,000 keys/ours");
BENCHMARK_CAPTURE(time, limit, parse)->Name("load 10,000 keys/limit");
BENCHMARK_CAPTURE(memory, ours, load)->Name("memory of 10,000 keys/ours")->Iterations(1);
BENCHMARK_CAPTURE(memory, limit, parse)->Name("memory of 10,000 keys/limit")->Iterations(1);
