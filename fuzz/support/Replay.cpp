// SPDX-License-Identifier: Apache-2.0
// What starts a target where there is no fuzzer: runs it on the kept inputs, for a build that
// counts which lines they reach.
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
