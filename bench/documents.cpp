// SPDX-License-Identifier: Apache-2.0
#include "bench/documents.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>

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
    std::string text = "<?xml version=\"1.0\"?>\n<Root>\n";
    for (int group = 0; group < GROUPS; ++group) {
      std::string const group_name = "Group" + std::to_string(group);
      text += "  <" + group_name + ">\n";
      for (int key = 0; key < KEYS_IN_A_GROUP; ++key) {
        std::string const number = std::to_string(key);
        text += "    <Key" + number + " name=\"sensor number " + number + "\" value=\"" +
                std::to_string(group * key) + ".500000000000\">on the mast</Key" + number + ">\n";
      }
      text += "  </" + group_name + ">\n";
    }
    return text + "</Root>\n";
  }();
  return document;
}

std::string const &alias_document() {
  static std::string const document = [] {
    std::string text = "<?xml version=\"1.0\"?>\n<UserConfig>\n  <Aliases>\n";
    for (int i = 0; i < ALIASES; ++i) {
      std::string const number = std::to_string(i);
      text += "    <Alias name=\"Setting" + number + "\" value=\"UserConfig/Settings/S" + number +
              "\"/>\n";
    }
    return text + "  </Aliases>\n</UserConfig>\n";
  }();
  return document;
}
