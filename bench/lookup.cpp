// SPDX-License-Identifier: Apache-2.0

// Values by key path in a large document, and a long list read by index.

#include "bench/documents.hpp"
#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"

#include <benchmark/benchmark.h>
#include <boost/property_tree/xml_parser.hpp>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using namespace Ostrel;
using boost::property_tree::ptree;

namespace {

constexpr int PATHS = 64; // queried in turn, spread over the document

struct Loaded {
  explicit Loaded(std::string const &document) : file(document), configuration(source) {
    source.set_search_path(nullptr);
    configuration.init_source(file.path());
  }

  TemporaryFile file;
  XmlConfigSource source;
  Configuration configuration;
};

ptree parse(std::string const &document) {
  std::istringstream stream(document);
  ptree tree;
  boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
  return tree;
}

std::vector<std::string> paths(char const *separator, char const *end) {
  std::vector<std::string> result;
  for (int i = 0; i < PATHS; ++i) {
    std::ostringstream path;
    path << "Root" << separator << "Group" << i * 37 % GROUPS << separator << "Key"
         << i * 53 % KEYS_IN_A_GROUP << end;
    result.push_back(path.str());
  }
  return result;
}

void value_ours(benchmark::State &state) {
  static Loaded const loaded(large_document());
  std::vector<std::string> const keys = paths("/", "");
  std::string value;
  std::size_t i = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    if (loaded.configuration.get_value(keys[i++ % PATHS].c_str(), "value", &value) != 0) {
      state.SkipWithError("not found");
    }
  }
}

void value_peer(benchmark::State &state) {
  static ptree const tree = parse(large_document());
  std::vector<std::string> const keys = paths(".", ".<xmlattr>.value");
  std::string value;
  std::size_t i = 0;
  for ([[maybe_unused]] auto const &_ : state) {
    value = tree.get<std::string>(keys[i++ % PATHS]);
  }
  benchmark::DoNotOptimize(value);
}

void list_ours(benchmark::State &state) {
  static Loaded const loaded(alias_document());
  std::string name;
  for ([[maybe_unused]] auto const &_ : state) {
    for (int i = 0; i < ALIASES; ++i) {
      std::string const path = "/UserConfig/Aliases/Alias:" + std::to_string(i);
      if (loaded.configuration.get_value(path.c_str(), "name", &name) != 0) {
        state.SkipWithError("not found");
      }
    }
  }
}

void list_peer(benchmark::State &state) {
  static ptree const tree = parse(alias_document());
  std::string name;
  for ([[maybe_unused]] auto const &_ : state) {
    for (int i = 0; i < ALIASES; ++i) {
      auto const first = tree.get_child("UserConfig.Aliases").equal_range("Alias").first;
      name = std::next(first, i)->second.get<std::string>("<xmlattr>.name");
    }
  }
  benchmark::DoNotOptimize(name);
}

} // namespace

BENCHMARK(value_ours)->Name("value by key path/ours");
BENCHMARK(value_peer)->Name("value by key path/peer");
BENCHMARK(list_ours)->Name("2,000 keys by index/ours");
BENCHMARK(list_peer)->Name("2,000 keys by index/peer");
