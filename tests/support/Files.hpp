// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

/// A new directory, which the destructor removes with its contents.
class TemporaryDirectory {
public:
  TemporaryDirectory();
  TemporaryDirectory(TemporaryDirectory const &) = delete;
  TemporaryDirectory &operator=(TemporaryDirectory const &) = delete;
  ~TemporaryDirectory();

  std::string const &path() const { return path_; }
  /// Returns the path of a name in the directory.
  std::string path(std::string const &name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

/// Returns the content of a file; empty if it cannot be read.
std::string read_file(std::string const &path);

/// Writes a file and creates its directories.
void write_file(std::string const &path, std::string const &content);

/// Returns the number of entries of a directory.
std::ptrdiff_t count_entries(std::string const &directory);

/// Returns the text of a registry file in which the library's key has these values, one per line.
std::string registry_file(std::string const &values);
