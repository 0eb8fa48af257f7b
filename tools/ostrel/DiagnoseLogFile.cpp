// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/LogSetUp.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>

namespace Ostrel::Tool {

namespace {

// Whether the library reads the file, and would find lines of the log in it.
bool is_read_by_library(std::string const &path) {
  std::vector<SearchedFile> const places = search_settings_file();
  return is_same_file(path, registry_file()) ||
         std::any_of(places.begin(), places.end(),
                     [&path](SearchedFile const &place) { return is_same_file(path, place.file); });
}

// A name that stands for no file.
std::optional<PathFault> find_fault_of_name(std::string const &name) {
  if (name.empty()) {
    return PathFault{"it is set to the empty text: lines are lost", "write a file, or unset it"};
  }
  if (std::optional<PathFault> fault = find_unexpanded(name)) {
    return fault;
  }
  if (name == "-" || lower(name) == "stderr" || lower(name) == "stdout") {
    return PathFault{"'" + name + "' is taken for a file",
                     "unset it: without it, lines go to standard error"};
  }
  constexpr std::size_t DRIVE = 2; // characters of "C:"
  bool const has_several = name.find(";/") != name.npos || name.find(",/") != name.npos ||
                           name.find(":/", DRIVE) != name.npos;
  if (has_several && !status_of(directory_of(Platform::native_path(name.c_str()))).exists) {
    return PathFault{"'" + name + "' is taken for one file", "write the path of one file"};
  }
  std::optional<PathFault> fault = find_relative(name);
  if (fault) {
    fault->what = "the log goes to a file, and " + fault->what;
  }
  return fault;
}

// A file that cannot be written, or must not be.
std::optional<PathFault> find_fault_of_file(std::string const &path) {
  FileStatus const file = status_of(path), directory = status_of(directory_of(path));
  if (is_read_by_library(path)) {
    return PathFault{"the library reads '" + path + "': lines of the log damage it",
                     "write a file of its own"};
  }
  if (file.is_directory) {
    return PathFault{"'" + path + "' is a directory: lines are lost", "write a file in it"};
  }
  if (is_same_file(path, "/dev/full")) {
    return PathFault{"'" + path + "' is always full: lines are lost", "write a file"};
  }
  if (!file.exists && !(directory.is_directory && directory.is_readable)) {
    PathFault const missing =
        explain_missing(directory.exists ? path : directory_of(path), "create it");
    return PathFault{missing.what + ": lines are lost", missing.instead};
  }
  if (file.exists ? !file.is_writable : !directory.is_writable) {
    return PathFault{"'" + path + "' cannot be written: lines are lost",
                     file.exists        ? grant("w", path)
                     : directory.is_own ? grant("w", directory_of(path))
                                        : "write a file in another directory"};
  }
  if (directory.is_world_writable && !directory.is_sticky) {
    return PathFault{"every user can replace the files in '" + directory_of(path) + "'",
                     "run chmod o-w " + directory_of(path)};
  }
  return std::nullopt;
}

} // namespace

std::optional<PathFault> find_log_file_fault(std::string const &name) {
  std::optional<PathFault> const fault = find_fault_of_name(name);
  return fault ? fault : find_fault_of_file(Platform::native_path(name.c_str()));
}

} // namespace Ostrel::Tool
