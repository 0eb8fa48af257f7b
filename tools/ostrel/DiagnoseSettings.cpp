// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Check.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <filesystem>
#include <set>

namespace Ostrel::Tool {

namespace {

constexpr char const *FILE_NAMES[] = {"application-config.xml", "behavior-config.xml",
                                      "personality-config.xml", "resource-config.xml",
                                      "semantic-config.xml",    "user-config.xml"};

bool is_chosen_by_user(SearchedFile const &place) {
  return place.is_current_directory ||
         place.element.origin == SearchPathElement::ORIGIN_ENVIRONMENT;
}

// Something that the search passes over.
void diagnose_unreadable(SearchedFile const &place, std::vector<Finding> *findings) {
  FileStatus const status = status_of(place.file);
  if (!place.exists || (place.is_readable && status.is_readable)) {
    return;
  }
  if (!status.exists) {
    findings->push_back({place.file, 0, "this link leads to no file, and is passed over",
                         "correct or remove the link"});
  } else if (status.is_directory) {
    findings->push_back({place.file, 0, "this is a directory, not a settings file",
                         "rename it, and write the file"});
  } else {
    findings->push_back({place.file, 0, "the settings file cannot be read, and is passed over",
                         grant("r", place.file)});
  }
}

void diagnose_permissions(SearchedFile const &used, std::vector<Finding> *findings) {
  FileStatus const status = status_of(used.file);
  if (status.is_world_writable) {
    findings->push_back(
        {used.file, 0, "every user can write to the settings file", "run chmod o-w " + used.file});
  }
  if (!is_chosen_by_user(used)) {
    return;
  }
  if (!status.is_writable) {
    findings->push_back(
        {used.file, 0, "the settings file cannot be written: commits fail", grant("w", used.file)});
  } else if (status_of(used.directory).is_readable && !status_of(used.directory).is_writable) {
    findings->push_back({used.directory, 0,
                         "the directory of the settings file cannot be written: a crash during a "
                         "commit may damage the file",
                         grant("w", used.directory)});
  }
}

// A settings file behind the one that is read. Those of the installation are meant to be replaced
// by those that the user names.
void diagnose_shadowed(std::vector<SearchedFile> const &places, std::size_t used,
                       std::vector<Finding> *findings) {
  for (std::size_t i = used + 1; i < places.size(); ++i) {
    bool const is_meant = is_chosen_by_user(places[i]) || !is_chosen_by_user(places[used]);
    if (places[i].is_readable && is_meant && !is_same_file(places[i].file, places[used].file)) {
      findings->push_back({places[i].file, 0,
                           "this settings file has no effect: " + places[used].file +
                               " comes first in the search path",
                           "change " + places[used].file +
                               ", or put the directory of this file first in OSTREL_CONFIG_PATH"});
    }
  }
}

// Without case and separators, in which misnamed files mostly differ.
std::string letters_of(std::string const &name) {
  std::string letters;
  for (char const c : lower(name)) {
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      letters += c;
    }
  }
  return letters;
}

// The name of a configuration file for which another was written; null if it does not look so.
char const *find_meant_name(std::string const &name) {
  constexpr char const *ENDINGS[] = {"", "txt", "xml", "xlm", "conf", "cfg", "ini", "urationxml"};
  if (letters_of(name) == "userconfigxsd") {
    return "user-config.xsd";
  }
  if (letters_of(name) == "usersettingsxml" || letters_of(name) == "userconfxml") {
    return "user-config.xml";
  }
  for (char const *const meant : FILE_NAMES) {
    std::string const stem = letters_of(meant);
    std::string const bare = stem.substr(0, stem.size() - std::string("xml").size());
    for (char const *const ending : ENDINGS) {
      if (letters_of(name) == stem + ending || letters_of(name) == bare + ending) {
        return meant;
      }
    }
    if (ends_with(lower(name), ".xml") && is_misspelling(name, meant) &&
        edit_distance(lower(name), meant) <= 1) {
      return meant;
    }
  }
  return nullptr;
}

void diagnose_names(std::string const &directory, std::vector<Finding> *findings) {
  std::vector<std::string> const names = list_directory(directory);
  for (std::string const &name : names) {
    char const *const meant = find_meant_name(name);
    std::string const path = (std::filesystem::path(directory) / name).string();
    if (meant != nullptr && name != meant && !status_of(path).is_directory &&
        std::find(names.begin(), names.end(), meant) == names.end()) {
      findings->push_back({path, 0, "no program looks for a file of this name",
                           std::string("rename it to ") + meant});
    }
  }
}

// A settings file in a directory above or below one of the search path that has no configuration.
void diagnose_level(SearchedFile const &place, std::vector<SearchedFile> const &places,
                    std::vector<Finding> *findings) {
  std::vector<std::string> const names = list_directory(place.directory);
  std::vector<std::string> directories = {
      std::filesystem::path(place.directory).parent_path().string()};
  for (std::string const &name : names) {
    if (ends_with(name, ".xml")) {
      return;
    }
    directories.push_back((std::filesystem::path(place.directory) / name).string());
  }
  for (std::string const &directory : directories) {
    std::string const file = (std::filesystem::path(directory) / "user-config.xml").string();
    bool const is_searched =
        std::any_of(places.begin(), places.end(), [&file](SearchedFile const &searched) {
          return is_same_file(searched.file, file);
        });
    if (status_of(file).exists && !is_searched) {
      findings->push_back({file, 0,
                           "this file is not in " + place.directory + " of the search path, but " +
                               (directory == directories.front() ? "above" : "below") + " it",
                           "write " + directory + " in OSTREL_CONFIG_PATH"});
    }
  }
}

void diagnose_contents(std::string const &file, std::vector<Finding> *findings) {
  CheckResult const result = check_file(file);
  std::size_t const count = result.findings.size();
  if (count > 0) {
    Finding const &first = result.findings.front();
    findings->push_back({first.file, first.line,
                         (result.is_malformed ? "the settings are not read: " : "") + first.what +
                             (count > 1 ? " (and " + std::to_string(count - 1) + " more)" : ""),
                         first.instead + "; run ostrel config check"});
  }
}

} // namespace

void diagnose_settings_file(std::vector<Finding> *findings) {
  std::vector<SearchedFile> const places = search_settings_file();
  auto const used = std::find_if(places.begin(), places.end(),
                                 [](SearchedFile const &place) { return place.is_used; });
  std::set<std::string> directories;
  for (SearchedFile const &place : places) {
    if (is_chosen_by_user(place) && !place.is_current_directory &&
        directories.insert(place.directory).second) {
      diagnose_names(place.directory, findings);
      diagnose_level(place, places, findings);
    }
  }
  for (auto place = places.begin(); place != places.end() && place <= used; ++place) {
    diagnose_unreadable(*place, findings);
  }
  if (used == places.end()) {
    return;
  }
  if (used->is_current_directory) {
    findings->push_back({used->file, 0,
                         "the settings are read from the current directory, wherever a program is "
                         "started",
                         "set OSTREL_CONFIG_PATH to the directory of this file"});
  }
  diagnose_permissions(*used, findings);
  diagnose_shadowed(places, static_cast<std::size_t>(used - places.begin()), findings);
  diagnose_contents(used->file, findings);
}

} // namespace Ostrel::Tool
