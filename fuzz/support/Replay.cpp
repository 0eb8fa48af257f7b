// SPDX-License-Identifier: Apache-2.0
// The main program of a target without a fuzzer: runs it on the kept inputs, for a build that
// measures coverage.
#include "tests/support/Files.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size);

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "Usage: %s CORPUS\n", argv[0]);
    return 2;
  }
  for (auto const &entry : std::filesystem::directory_iterator(argv[1])) {
    std::string const input = read_file(entry.path().string());
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const *>(input.data()), input.size());
  }
  return 0;
}
