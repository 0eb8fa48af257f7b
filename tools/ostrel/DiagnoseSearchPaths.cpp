// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/LibraryPath.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <algorithm>
#include <iterator>
#include <set>

namespace Ostrel::Tool {

namespace {

bool looks_like_path(std::string const &text) {
  std::string const path(trimmed(text));
  return path.empty() || path.front() == '/' || path.front() == '.' || path.front() == '~' ||
         status_of(path).is_directory;
}

// The text of several directories with the separators of a search path, whatever it has; empty if
// it does not look so. A blank is one only between directories that exist.
std::string with_right_separators(std::string const &text) {
  for (char const separator : {';', ':', ',', '|', ' '}) {
    std::vector<std::string> const parts = split(text, separator);
    bool const are_paths = std::all_of(parts.begin(), parts.end(), looks_like_path);
    bool const has_directory = std::any_of(parts.begin(), parts.end(), [](std::string const &part) {
      return status_of(part).is_directory;
    });
    if (parts.size() > 1 && are_paths && (has_directory || separator != ' ')) {
      std::string joined;
      for (std::string const &part : parts) {
        std::string const path(trimmed(part));
        joined += (joined.empty() || path.empty() ? "" : ";") + path;
      }
      return joined;
    }
  }
  return "";
}

PathFault explain_missing_directory(std::string const &text, bool is_single) {
  std::string const separated = with_right_separators(text);
  std::string const wanted = is_single ? separated.substr(0, separated.find(';')) : separated;
  if (!wanted.empty()) {
    return {"'" + text + "' is taken for one directory", "write " + wanted};
  }
  return explain_missing(Platform::native_path(text.c_str()), "create it, or remove it");
}

// What is wrong with a directory.
//
// is_single: the variable names one directory, not a search path.
std::optional<PathFault> find_directory_fault(std::string const &text, bool is_single) {
  if (text.empty()) {
    return PathFault{"it is empty: the default directories depend on the current one",
                     "write the directory, or remove the value"};
  }
  std::string const path = Platform::native_path(text.c_str());
  FileStatus const status = status_of(path);
  if (std::optional<PathFault> fault = find_unexpanded(text)) {
    return fault;
  }
  if (!status.exists) {
    return explain_missing_directory(text, is_single);
  }
  if (!status.is_directory) {
    return PathFault{"'" + text + "' is a file, not a directory", "write " + directory_of(path)};
  }
  if (!status.is_readable) {
    return PathFault{"the directory '" + text + "' cannot be searched", grant("x", path)};
  }
  return find_relative(text);
}

// A finding about an element, with the variable or the registry value that has it.
Finding about(SearchPathElement const &element, PathFault const &fault) {
  Finding finding{"", 0, element.origin_name + ": " + fault.what, fault.instead};
  if (element.origin == SearchPathElement::ORIGIN_REGISTRY) {
    finding.file = registry_file();
    finding.line = find_registry_line(element.origin_name);
  }
  return finding;
}

// Elements that one variable or registry value names.
void diagnose_elements(std::vector<SearchPathElement> const &elements, bool is_single,
                       std::vector<Finding> *findings) {
  for (SearchPathElement const &element : elements) {
    if (element.directory.empty() && element.origin_name != "InstallPath") {
      continue;
    }
    if (auto const fault = find_directory_fault(element.directory, is_single)) {
      findings->push_back(about(element, *fault));
    }
  }
}

// Empty elements of the variable of a search path. Behind the others they hardly matter: the
// current directory is searched at the end anyway.
void diagnose_empty(std::vector<SearchPathElement> const &elements, bool is_settings_path,
                    std::vector<Finding> *findings) {
  if (elements.empty() || elements.front().origin != SearchPathElement::ORIGIN_ENVIRONMENT ||
      !elements.front().directory.empty()) {
    return;
  }
  if (elements.size() == 1) {
    findings->push_back(about(elements.front(), {"it is set to the empty text", "unset it"}));
  } else if (is_settings_path) {
    findings->push_back(about(elements.front(),
                              {"it begins with an empty element: the current directory is searched "
                               "first",
                               "remove the ';' in front"}));
  }
}

bool is_default(Platform::SystemProperty property, SearchPathElement const &element) {
  return element.origin == SearchPathElement::ORIGIN_BUILT_IN ||
         (property != Platform::INSTALL_PATH && element.origin_name == "InstallPath");
}

std::vector<SearchPathElement> read_library_path() {
  constexpr char const *NAME = "OSTREL_LIBRARY_PATH";
  std::vector<SearchPathElement> elements;
  for (std::string const &directory : split_library_path(read_variables()[NAME])) {
    elements.push_back({directory, SearchPathElement::ORIGIN_ENVIRONMENT, NAME});
  }
  return elements;
}

void diagnose_permissions(std::set<std::string> const &directories,
                          std::vector<Finding> *findings) {
  for (std::string const &directory : directories) {
    FileStatus const status = status_of(directory);
    if (status.is_directory && status.is_world_writable) {
      findings->push_back({directory, 0, "every user can write to this directory of a search path",
                           "run chmod o-w " + directory});
    }
  }
}

} // namespace

void diagnose_search_paths(std::vector<Finding> *findings) {
  std::vector<SearchPathElement> all = read_library_path();
  diagnose_elements(all, /*is_single=*/false, findings);
  for (int i = Platform::INSTALL_PATH; i <= Platform::SLAM_LANDMARK_PATH; ++i) {
    auto const property = static_cast<Platform::SystemProperty>(i);
    bool const is_single =
        property == Platform::INSTALL_PATH || property == Platform::SLAM_LANDMARK_PATH;
    std::vector<SearchPathElement> elements, named;
    Platform::get_search_path_elements(property, &elements);
    std::copy_if(elements.begin(), elements.end(), std::back_inserter(named),
                 [property](auto const &element) { return !is_default(property, element); });
    diagnose_elements(named, is_single, findings);
    diagnose_empty(named, property == Platform::CONFIG_PATH, findings);
    all.insert(all.end(), elements.begin(), elements.end());
  }
  std::set<std::string> directories;
  for (SearchPathElement const &element : all) {
    directories.insert(Platform::native_path(element.directory.c_str()));
  }
  diagnose_permissions(directories, findings);
}

} // namespace Ostrel::Tool
