// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

/// A fresh directory that is removed with everything in it.
class TemporaryDirectory {
public:
  TemporaryDirectory();
  TemporaryDirectory(TemporaryDirectory const &) = delete;
  TemporaryDirectory &operator=(TemporaryDirectory const &) = delete;
  ~TemporaryDirectory();

  std::string const &path() const { return path_; }
  /// The path of a name in the directory.
  std::string path(std::string const &name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

/// The whole content of a file; empty when it cannot be read.
std::string read_file(std::string const &path);

/// Makes a file with that content, its directories included.
void write_file(std::string const &path, std::string const &content);

/// How many names a directory has.
std::ptrdiff_t count_entries(std::string const &directory);

/// A registry file in which the library's key has these values, each in a line.
std::string registry_file(std::string const &values);
