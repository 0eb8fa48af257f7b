// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Report.hpp"

#include "core/base/logging/LoggingPriority.hpp"
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/LibraryPath.hpp"
#include "tools/ostrel/LogSetUp.hpp"
#include "tools/ostrel/Origins.hpp"
#include "tools/ostrel/PathCommands.hpp"
#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <libxml/xmlversion.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <sys/utsname.h>
#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// The name of the library's file ends with its version, where links lead to it.
std::string real_path(std::string const &path) {
  std::error_code error;
  std::filesystem::path const real = std::filesystem::canonical(path, error);
  return error ? path : real.string();
}

Section describe_versions() {
  utsname system = {};
  uname(&system);
  return {"versions",
          {std::string("ostrel ") + OSTREL_VERSION, "library " + real_path(base_library_file()),
           std::string("libxml2 ") + LIBXML_DOTTED_VERSION, std::string("compiler ") + __VERSION__,
           std::string(system.sysname) + " " + system.release + " " + system.machine,
           "user " + std::to_string(geteuid())}};
}

Section describe_variables() {
  Section section{"variables", {}};
  std::vector<std::string> const &known = library_variables();
  for (auto const &[name, value] : read_variables()) {
    bool const is_known = std::find(known.begin(), known.end(), name) != known.end();
    if (is_known || starts_with(name, "OSTREL_") || starts_with(name, "OVRA_")) {
      section.lines.push_back(name + "=" + value + (is_known ? "" : " (not of the library)"));
    }
  }
  return section;
}

std::string describe_directory(std::string const &directory) {
  FileStatus const status = status_of(directory);
  return !status.exists             ? status.error
         : !status.is_directory     ? "is a file"
         : !status.is_readable      ? "cannot be searched"
         : status.is_world_writable ? "writable by every user"
         : status.is_writable       ? "writable"
                                    : "not writable";
}

Section describe_paths() {
  Section section{"search paths", {}};
  for (std::size_t i = 0; i < property_names().size(); ++i) {
    auto const property = static_cast<Platform::SystemProperty>(i);
    std::vector<SearchPathElement> elements;
    Platform::get_search_path_elements(property, &elements);
    for (SearchPathElement const &element : elements) {
      std::string const directory = Platform::native_path(element.directory.c_str());
      section.lines.push_back(property_names()[i] + ": '" + directory + "' (" +
                              origin_text(element) + ", " + describe_directory(directory) + ")");
    }
  }
  return section;
}

std::string describe_place(SearchedFile const &place) {
  return place.is_used && !place.fault.empty() ? "not read: " + place.fault
         : place.is_used                       ? std::string("read, ") +
                               (status_of(place.file).is_writable ? "writable" : "not writable")
         : place.state == SettingPlace::STATE_NO_FILE    ? "no file"
         : place.state == SettingPlace::STATE_UNREADABLE ? "not read: " + place.fault
                                                         : "not read: an earlier file comes first";
}

Section describe_settings() {
  Section section{"settings file", {}};
  std::string used;
  for (SearchedFile const &place : search_settings_file()) {
    section.lines.push_back(place.file + ": " + describe_place(place) + " (" +
                            origin_text(place.origin, place.origin_name) + ")");
    used = place.is_used ? place.file : used;
  }
  std::string const schema = find_schema(used.empty() ? "user-config.xml" : used, "UserConfig");
  section.lines.push_back("schema: " + (schema.empty() ? "none" : schema));
  return section;
}

Section describe_registry() {
  std::string const path = registry_file();
  FileStatus const status = status_of(path);
  return {"registry",
          {path + ": " +
           (!status.exists        ? status.error
            : !status.is_readable ? "not readable"
                                  : "readable")}};
}

// A category, its priority and its output.
std::string describe_log_entry(LogEntry const &entry, std::string const &output) {
  std::string const priority = entry.priority.empty() ? "DEBUG" : log_priority_of(entry.priority);
  return entry.category + ": " + (priority.empty() ? "as above it" : priority) + ", to " + output;
}

std::string describe_log_file(LogVariable const &output) {
  std::optional<PathFault> const fault = find_log_file_fault(output.value);
  return output.name + ": " + (fault ? fault->what : "'" + output.value + "' can be written");
}

Section describe_logging() {
  LogVariable const priority = read_log_priority(), output = read_log_output();
  std::string_view const usual =
      trimmed(LoggingPriority::get_priority_name(LoggingPriority::_default_priority));
  Section section{"logging", {"all categories: " + std::string(usual) + ", to standard error"}};
  for (LogEntry const &entry : read_log_entries(priority.value)) {
    if (!entry.category.empty()) {
      section.lines.push_back(
          describe_log_entry(entry, output.is_set ? "'" + output.value + "'" : "standard error"));
    }
  }
  if (output.is_set) {
    section.lines.push_back(priority.is_set ? describe_log_file(output)
                                            : output.name + ": without effect");
  }
  return section;
}

} // namespace

std::vector<Section> write_report() {
  Silence const silence;
  return {describe_versions(), describe_variables(), describe_paths(),
          describe_settings(), describe_registry(),  describe_logging()};
}

} // namespace Ostrel::Tool
