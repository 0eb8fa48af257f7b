// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Check.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/KnownFiles.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <system_error>

namespace Ostrel::Tool {

namespace {

bool is_chosen_by_user(SearchedFile const &place) {
  return place.directory.empty() || place.origin == SettingPlace::ORIGIN_ENVIRONMENT;
}

// Something that the search passes over. What is wrong with its directory is found elsewhere.
void diagnose_unreadable(SearchedFile const &place, std::vector<Finding> *findings) {
  std::error_code error;
  FileStatus const status = status_of(place.file);
  if (!status.exists) {
    if (std::filesystem::is_symlink(place.file, error)) {
      findings->push_back({place.file, 0,
                           "this link to '" +
                               std::filesystem::read_symlink(place.file, error).string() +
                               "' leads to no file, and is passed over",
                           "correct or remove the link"});
    }
  } else if (status.is_directory) {
    findings->push_back({place.file, 0, "this is a directory, not a settings file",
                         "rename it, and write the file"});
  } else if (!status.is_readable) {
    findings->push_back({place.file, 0, "the settings file cannot be read, and is passed over",
                         grant("r", place.file)});
  } else if (place.state == SettingPlace::STATE_UNREADABLE) {
    findings->push_back({place.file, 0, "the settings file is passed over: " + place.fault,
                         "write the settings here"});
  }
}

// A file or directory of another user is not meant to be changed by programs of this one.
void diagnose_permissions(SearchedFile const &used, std::vector<Finding> *findings) {
  std::string const above = directory_of(used.file);
  FileStatus const file = status_of(used.file), directory = status_of(above);
  if (file.is_world_writable) {
    findings->push_back(
        {used.file, 0, "every user can write to the settings file", "run chmod o-w " + used.file});
  }
  if (!is_chosen_by_user(used)) {
    return;
  }
  if (file.is_own && !file.is_writable) {
    findings->push_back(
        {used.file, 0, "the settings file cannot be written: commits fail", grant("w", used.file)});
  } else if (directory.is_own && directory.is_readable && !directory.is_writable) {
    findings->push_back({above, 0,
                         "the directory of the settings file cannot be written: a crash during a "
                         "commit may damage the file",
                         grant("w", above)});
  }
}

// Settings files behind the one that is read. Those of the installation are meant to be replaced by
// those that the user names.
void diagnose_shadowed(std::vector<SearchedFile> const &places, SearchedFile const &used,
                       std::vector<Finding> *findings) {
  std::vector<std::string> known = {used.file}; // the same file may be in several places
  for (SearchedFile const &place : places) {
    bool const is_meant = is_chosen_by_user(place) || !is_chosen_by_user(used);
    bool const is_known =
        std::any_of(known.begin(), known.end(),
                    [&place](std::string const &file) { return is_same_file(file, place.file); });
    if (place.state == SettingPlace::STATE_SHADOWED && is_meant && !is_known) {
      known.push_back(place.file);
      findings->push_back(
          {place.file, 0,
           "this settings file has no effect: " + used.file + " comes first in the search path",
           "change " + used.file +
               ", or put the directory of this file first in OSTREL_CONFIG_PATH"});
    }
  }
}

// Whether a name looks as if it was written for that of a configuration file.
bool is_written_for(std::string const &name, char const *meant) {
  constexpr char const *ENDINGS[] = {"", "txt", "xmltxt", "xmlxml", "conf", "cfg", "urationxml"};
  std::string const written = letters_of(name), letters = letters_of(meant);
  std::string const stem = letters.substr(0, letters.size() - std::string("xml").size());
  bool const has_other_ending =
      std::any_of(std::begin(ENDINGS), std::end(ENDINGS),
                  [&](char const *ending) { return written == stem + ending; });
  return written == letters || has_other_ending ||
         (is_misspelling(name, meant) && edit_distance(written, letters) <= 1);
}

// The name of a configuration file for which another was written; null if it does not look so.
char const *find_meant_name(std::string const &name) {
  auto const *const meant =
      std::find_if(std::begin(KNOWN_FILES), std::end(KNOWN_FILES),
                   [&name](KnownFile const &file) { return is_written_for(name, file.name); });
  if (meant != std::end(KNOWN_FILES)) {
    return meant->name;
  }
  constexpr char const *SCHEMA = "user-config.xsd";
  return is_written_for(name, SCHEMA) ? SCHEMA : nullptr;
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
  std::filesystem::path const searched = directory_of(place.file);
  FileStatus const status = status_of(searched.string());
  if (!status.is_directory && (status.exists || !find_nearest_path(searched.string()).empty())) {
    return; // the path itself has another correction
  }
  std::vector<std::string> directories = {directory_of(searched.string())};
  for (std::string const &name : list_directory(searched.string())) {
    if (ends_with(name, ".xml")) {
      return;
    }
    directories.push_back((searched / name).string());
  }
  for (std::string const &directory : directories) {
    std::string const file = (std::filesystem::path(directory) / "user-config.xml").string();
    bool const is_searched =
        std::any_of(places.begin(), places.end(),
                    [&file](SearchedFile const &each) { return is_same_file(each.file, file); });
    bool const is_reported =
        std::any_of(findings->begin(), findings->end(),
                    [&file](Finding const &each) { return each.file == file; });
    if (status_of(file).exists && !is_searched && !is_reported) {
      findings->push_back({file, 0,
                           "this file is not in " + searched.string() +
                               " of the search path, but " +
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
                         first.instead + "; run ostrel config check " + file});
  }
}

// The other configuration files, as far as no program can read them.
void diagnose_others(std::vector<SearchedFile> const &places, std::vector<Finding> *findings) {
  for (KnownFile const &known : KNOWN_FILES) {
    std::string const name = known.name;
    auto const found =
        std::find_if(places.begin(), places.end(), [&name](SearchedFile const &place) {
          return status_of(directory_of(place.file) + '/' + name).is_regular;
        });
    bool const is_other = name != "user-config.xml";
    std::string const file = found == places.end() ? "" : directory_of(found->file) + '/' + name;
    if (is_other && !file.empty() && check_file(file).is_malformed) {
      diagnose_contents(file, findings);
    }
  }
}

} // namespace

void diagnose_settings_file(std::vector<Finding> *findings) {
  std::vector<SearchedFile> const places = search_settings_file();
  std::set<std::string> files;
  for (SearchedFile const &place : places) {
    bool const is_new = !place.directory.empty() && files.insert(place.file).second;
    if (is_new && is_chosen_by_user(place)) {
      diagnose_names(directory_of(place.file), findings);
    }
    if (is_new && place.origin != SettingPlace::ORIGIN_BUILT_IN) {
      diagnose_level(place, places, findings);
    }
  }
  auto const used = std::find_if(places.begin(), places.end(),
                                 [](SearchedFile const &place) { return place.is_used; });
  for (auto place = places.begin(); place != places.end() && place <= used; ++place) {
    diagnose_unreadable(*place, findings);
  }
  diagnose_others(places, findings);
  if (used == places.end()) {
    return;
  }
  if (used->directory.empty()) {
    findings->push_back({used->file, 0,
                         "the settings are read from the current directory, wherever a program is "
                         "started",
                         "set OSTREL_CONFIG_PATH to the directory of this file"});
  }
  diagnose_permissions(*used, findings);
  diagnose_shadowed(places, *used, findings);
  diagnose_contents(used->file, findings);
}

} // namespace Ostrel::Tool
