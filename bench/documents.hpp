// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// A file in a temporary directory, removed at the end of the program.
class TemporaryFile {
public:
  explicit TemporaryFile(std::string const &content = "");
  TemporaryFile(TemporaryFile const &) = delete;
  TemporaryFile &operator=(TemporaryFile const &) = delete;
  ~TemporaryFile();

  char const *path() const { return path_.c_str(); }

private:
  std::string path_;
};

constexpr int GROUPS = 100;         // of keys in the large document
constexpr int KEYS_IN_A_GROUP = 99; // 10,000 keys in all, including those of the groups
constexpr int ALIASES = 2000;

/// A document of 10,000 keys and 0.8 MB: Root/Group<g>/Key<k>, each with the values name and value.
std::string const &large_document();

/// A document with many keys of the same name: UserConfig/Aliases/Alias, with name and value.
std::string const &alias_document();
