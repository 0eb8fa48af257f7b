// SPDX-License-Identifier: Apache-2.0
#include "bench/documents.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

TemporaryFile::TemporaryFile(std::string const &content) {
  std::string directory =
      (std::filesystem::temp_directory_path() / "ostbase-bench-XXXXXX").string();
  if (mkdtemp(directory.data()) == nullptr) {
    std::abort();
  }
  path_ = directory + "/file";
  std::ofstream(path_) << content;
}

TemporaryFile::~TemporaryFile() {
  std::error_code ignored;
  std::filesystem::remove_all(std::filesystem::path(path_).parent_path(), ignored);
}

std::string const &large_document() {
  static std::string const document = [] {
    std::ostringstream text;
    text << "<?xml version=\"1.0\"?>\n<Root>\n";
    for (int group = 0; group < GROUPS; ++group) {
      text << "  <Group" << group << ">\n";
      for (int key = 0; key < KEYS_IN_A_GROUP; ++key) {
        text << "    <Key" << key << " name=\"sensor number " << key << "\" value=\"" << group * key
             << ".500000000000\">on the mast</Key" << key << ">\n";
      }
      text << "  </Group" << group << ">\n";
    }
    text << "</Root>\n";
    return text.str();
  }();
  return document;
}

std::string const &alias_document() {
  static std::string const document = [] {
    std::ostringstream text;
    text << "<?xml version=\"1.0\"?>\n<UserConfig>\n  <Aliases>\n";
    for (int i = 0; i < ALIASES; ++i) {
      text << "    <Alias name=\"Setting" << i << "\" value=\"UserConfig/Settings/S" << i
           << "\"/>\n";
    }
    text << "  </Aliases>\n</UserConfig>\n";
    return text.str();
  }();
  return document;
}
