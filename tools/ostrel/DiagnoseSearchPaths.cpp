// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <filesystem>

namespace Ostrel::Tool {

namespace {

// A directory that a variable or a registry value names.
struct Named {
  std::string source; // "OSTREL_CONFIG_PATH"
  std::string text;   // in the variable or value
  std::string path;   // for the system's calls
};

bool looks_like_path(std::string const &text) {
  std::string const path(trimmed(text));
  return path.empty() || path.front() == '/' || path.front() == '.' || path.front() == '~' ||
         status_of(path).is_directory;
}

// The text with the separators of a search path, if it has those of PATH or other wrong ones; empty
// if it does not look so. A blank is one only between directories that exist.
std::string with_right_separators(std::string const &text) {
  for (char const separator : {':', ',', ' '}) {
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

// Without "." and "..".
std::string normal_path(std::string const &path) {
  std::filesystem::path const normal = std::filesystem::path(path).lexically_normal();
  return (normal.has_filename() ? normal : normal.parent_path()).string();
}

Finding about(Named const &named, std::string const &what, std::string const &instead) {
  return {"", 0, named.source + ": " + what, instead};
}

// A directory that does not exist.
Finding explain_missing(Named const &named) {
  std::string const separated = with_right_separators(named.text);
  if (!separated.empty()) {
    return about(named, "'" + named.text + "' is taken for one directory", "write " + separated);
  }
  std::string const nearest = find_nearest_path(named.path);
  return about(named, "the directory '" + named.text + "' does not exist",
               nearest.empty() ? "create it, or remove it from " + named.source
                               : "write " + nearest);
}

void diagnose_directory(Named const &named, std::vector<Finding> *findings) {
  FileStatus const status = status_of(named.path);
  if (std::optional<PathFault> const fault = find_unexpanded(named.text)) {
    findings->push_back(about(named, fault->what, fault->instead));
  } else if (!status.exists) {
    findings->push_back(explain_missing(named));
  } else if (!status.is_directory) {
    findings->push_back(about(named, "'" + named.text + "' is a file, not a directory",
                              "write " + directory_of(named.path)));
  } else if (!status.is_readable) {
    findings->push_back(about(named, "the directory '" + named.text + "' cannot be searched",
                              grant("rx", named.path)));
  } else if (!Platform::is_absolute_path(named.text.c_str()) || starts_with(named.text, ".")) {
    std::string absolute;
    Platform::make_absolute_path(named.path.c_str(), &absolute);
    findings->push_back(
        about(named, "'" + named.text + "' is another directory for each current directory",
              "write " + normal_path(Platform::native_path(absolute.c_str()))));
  }
}

void diagnose_permissions(std::string const &path, std::vector<Finding> *findings) {
  if (status_of(path).is_world_writable && status_of(path).is_directory) {
    findings->push_back({path, 0, "every user can write to this directory of a search path",
                         "run chmod o-w " + path});
  }
}

void diagnose_empty(std::string const &source, std::string const &value,
                    std::vector<Finding> *findings) {
  std::string const place =
      source == "OSTREL_CONFIG_PATH" ? "the current directory" : "the top directory";
  if (value.empty()) {
    findings->push_back(
        {"", 0, source + ": it is set to the empty text, which stands for " + place, "unset it"});
  } else {
    findings->push_back(
        {"", 0, source + ": an empty element stands for " + place, "remove the ';' beside it"});
  }
}

// The elements of a variable or a registry value.
void diagnose_value(std::string const &source, std::string const &value,
                    std::vector<Finding> *findings) {
  bool had_empty = false;
  for (std::string const &text : split(value, ';')) {
    if (!text.empty()) {
      diagnose_directory({source, text, Platform::native_path(text.c_str())}, findings);
    } else if (!had_empty) {
      had_empty = true;
      diagnose_empty(source, value, findings);
    }
  }
}

} // namespace

void diagnose_search_paths(std::vector<Finding> *findings) {
  constexpr char const *VARIABLES[] = {
      "OSTREL_CONFIG_PATH", "OSTREL_DATA_PATH",      "OSTREL_AUDIO_PATH",  "OSTREL_IMAGES_PATH",
      "OSTREL_FACES_PATH",  "OSTREL_MODELSETS_PATH", "OSTREL_LIBRARY_PATH"};
  for (char const *const name : VARIABLES) {
    std::string value;
    if (Platform::get_environment_variable(name, &value)) {
      diagnose_value(name, value, findings);
    }
  }
  std::string maps;
  if (Platform::get_environment_variable("OSTREL_SLAM_LANDMARK_PATH", &maps) && !maps.empty()) {
    Named const named{"OSTREL_SLAM_LANDMARK_PATH", maps, Platform::native_path(maps.c_str())};
    if (maps.find(';') != maps.npos && !status_of(named.path).exists) {
      findings->push_back(about(named, "it names one directory, not a search path",
                                "write " + maps.substr(0, maps.find(';'))));
    } else {
      diagnose_directory(named, findings);
    }
  }
  std::vector<std::string> paths;
  for (int property = Platform::CONFIG_PATH; property <= Platform::SLAM_LANDMARK_PATH; ++property) {
    std::vector<SearchPathElement> elements;
    Platform::get_search_path_elements(static_cast<Platform::SystemProperty>(property), &elements);
    for (SearchPathElement const &element : elements) {
      std::string const path = Platform::native_path(element.directory.c_str());
      if (!path.empty() && std::find(paths.begin(), paths.end(), path) == paths.end()) {
        paths.push_back(path);
        diagnose_permissions(path, findings);
      }
    }
  }
}

} // namespace Ostrel::Tool
