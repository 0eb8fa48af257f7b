// SPDX-License-Identifier: Apache-2.0
// The rules of ISharedLibrary::load, which can only be asked by loading.
#include "tools/ostrel/PathCommands.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/LibraryPath.hpp"
#include "tools/ostrel/Variables.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <memory>
#include <vector>

#include <dlfcn.h>

namespace Ostrel::Tool {

namespace {

struct Candidate {
  std::string file;   // native path
  std::string origin; // the variable that names its directory, or LOADER; empty: the name itself
};

constexpr char const *LOADER = "loader";

struct CloseLibrary {
  void operator()(void *library) const noexcept { dlclose(library); }
};

std::string complete_name(std::string const &name) {
  return name.find_first_of("./") != name.npos ? name : name + ".so";
}

// The directories in which the loader looks for a library that the base library loads: those of
// LD_LIBRARY_PATH and the system's. Not those of /etc/ld.so.cache, which it does not tell.
std::vector<std::string> loader_directories() {
  std::unique_ptr<void, CloseLibrary> const library(
      dlopen(base_library_file().c_str(), RTLD_LAZY | RTLD_NOLOAD));
  Dl_serinfo size = {};
  if (library == nullptr || dlinfo(library.get(), RTLD_DI_SERINFOSIZE, &size) != 0) {
    return {};
  }
  std::vector<char> memory(size.dls_size);
  auto *const info = reinterpret_cast<Dl_serinfo *>(memory.data());
  *info = size;
  std::vector<std::string> directories;
  if (dlinfo(library.get(), RTLD_DI_SERINFO, info) == 0) {
    for (unsigned int i = 0; i < info->dls_cnt; ++i) {
      directories.emplace_back(info->dls_serpath[i].dls_name);
    }
  }
  return directories;
}

std::vector<Candidate> candidates_of(std::string const &name) {
  std::string const native = Platform::native_path(name.c_str());
  if (native.find('/') != native.npos) {
    return {{native, ""}};
  }
  std::vector<Candidate> candidates;
  std::map<std::string, std::string> variables = read_variables();
  for (char const *const variable : {"PATH", "OSTREL_LIBRARY_PATH"}) {
    for (std::string const &directory : split_library_path(variables[variable])) {
      candidates.push_back({Platform::native_path((directory + '/' + native).c_str()), variable});
    }
  }
  for (std::string const &directory : loader_directories()) {
    candidates.push_back({directory + '/' + native, LOADER});
  }
  return candidates;
}

std::string origin_text(std::string const &origin) {
  return origin.empty()     ? ""
         : origin == LOADER ? " (" + origin + ")"
                            : " (environment " + origin + ")";
}

// Why the loader refuses the file; empty if it looks like a library.
std::string find_fault(std::string const &file) {
  constexpr char MAGIC[] = {'\x7F', 'E', 'L', 'F'};
  char start[sizeof MAGIC] = {};
  if (!status_of(file).is_readable) {
    return "it cannot be read";
  }
  std::ifstream(file, std::ios::binary).read(start, sizeof start);
  return std::equal(std::begin(MAGIC), std::end(MAGIC), start) ? "" : "it is no library";
}

} // namespace

int run_lib_find(Output &output, std::string const &name) {
  if (name.empty()) {
    output.error("the name is empty");
    return STATUS_USAGE;
  }
  std::string const file = complete_name(name);
  std::vector<Candidate> const candidates = candidates_of(file);
  auto const found =
      std::find_if(candidates.begin(), candidates.end(),
                   [](Candidate const &candidate) { return status_of(candidate.file).is_regular; });
  if (found == candidates.end()) {
    bool const is_bare = candidates.empty() || !candidates.front().origin.empty();
    output.error("there is no library '" + file + "'" +
                 (is_bare ? " along PATH and OSTREL_LIBRARY_PATH, nor in the loader's own places "
                            "(not looked up: /etc/ld.so.cache)"
                          : ""));
    return STATUS_NOT_FOUND;
  }
  if (std::string const fault = find_fault(found->file); !fault.empty()) {
    output.error("a load takes '" + found->file + "' and fails: " + fault);
    return STATUS_UNREADABLE;
  }
  if (output.is_json()) {
    output.print_json({{"name", name}, {"file", found->file}, {"origin", found->origin}});
  } else {
    output.line(found->file + origin_text(found->origin));
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
