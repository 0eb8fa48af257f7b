// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Files.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

TemporaryDirectory::TemporaryDirectory() {
  std::random_device number;
  std::string const base =
      (std::filesystem::temp_directory_path() / "ostbase-test-").generic_string();
  do {
    path_ = base + std::to_string(number());
  } while (!std::filesystem::create_directory(path_));
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string read_file(std::string const &path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

void write_file(std::string const &path, std::string const &content) {
  std::filesystem::path const parent = std::filesystem::path(path).parent_path();
  if (!parent.empty()) {
    std::filesystem::create_directories(parent);
  }
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!(file << content).flush()) {
    std::abort(); // the test would use the old content
  }
}

std::ptrdiff_t count_entries(std::string const &directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

std::string registry_file(std::string const &values) {
  return "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]\n" + values;
}
