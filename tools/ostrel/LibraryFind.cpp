// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/PathCommands.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/ExitStatus.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

// The rules of ISharedLibrary::load, which can only be asked by loading.
namespace Ostrel::Tool {

namespace {

struct Candidate {
  std::string file;   // native path
  std::string origin; // the variable that named its directory; empty for a name with a directory
};

std::string complete_name(std::string const &name) {
  return name.find_first_of("./") != name.npos ? name : name + ".so";
}

// A drive at the start of an element is no separator.
std::size_t element_length(std::string_view path) {
  constexpr std::size_t DRIVE_LENGTH = 3; // letter, colon, separator
  bool const has_drive =
      Platform::is_absolute_path(std::string(path.substr(0, DRIVE_LENGTH)).c_str()) &&
      path.substr(1, 1) == ":";
  std::size_t const end = path.find_first_of(";:", has_drive ? DRIVE_LENGTH - 1 : 0);
  return end == path.npos ? path.size() : end;
}

void add_candidates(std::string const &variable, std::string const &name,
                    std::vector<Candidate> *candidates) {
  std::string text;
  Platform::get_environment_variable(variable.c_str(), &text);
  std::string_view path = text;
  while (!path.empty()) {
    std::size_t const length = element_length(path);
    if (length > 0) {
      std::string const file = std::string(path.substr(0, length)) + '/' + name;
      candidates->push_back({Platform::native_path(file.c_str()), variable});
    }
    path.remove_prefix(std::min(length + 1, path.size()));
  }
}

std::vector<Candidate> candidates_of(std::string const &name) {
  std::string const native = Platform::native_path(name.c_str());
  if (native.find('/') != native.npos) {
    return {{native, ""}};
  }
  std::vector<Candidate> candidates;
  add_candidates("PATH", native, &candidates);
  add_candidates("OSTREL_LIBRARY_PATH", native, &candidates);
  return candidates;
}

} // namespace

int run_lib_find(Output &output, std::string const &name) {
  std::string const file = complete_name(name);
  std::vector<Candidate> const candidates = candidates_of(file);
  for (Candidate const &candidate : candidates) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(candidate.file, error)) {
      continue;
    }
    if (output.is_json()) {
      output.print_json({{"name", name}, {"file", candidate.file}, {"origin", candidate.origin}});
    } else {
      output.line(candidate.file +
                  (candidate.origin.empty() ? "" : " (environment " + candidate.origin + ")"));
    }
    return STATUS_DONE;
  }
  bool const is_bare = candidates.empty() || !candidates.front().origin.empty();
  output.error("there is no library '" + file + "'" +
               (is_bare ? " along PATH and OSTREL_LIBRARY_PATH; a load then looks in the loader's "
                          "own places (LD_LIBRARY_PATH, /etc/ld.so.cache, /lib, /usr/lib)"
                        : ""));
  return STATUS_NOT_FOUND;
}

} // namespace Ostrel::Tool
