// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Doctor.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Check.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Origins.hpp"
#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <libxml/xmlversion.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

#include <sys/utsname.h>
#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// A part of the page for a bug report.
struct Section {
  std::string title;
  std::vector<std::string> lines;
};

Section describe_versions() {
  utsname system = {};
  uname(&system);
  return {"versions",
          {std::string("ostrel ") + OSTREL_VERSION, std::string("libxml2 ") + LIBXML_DOTTED_VERSION,
           std::string("compiler ") + __VERSION__,
           std::string(system.sysname) + " " + system.release + " " + system.machine,
           "user " + std::to_string(geteuid())}};
}

Section describe_variables() {
  Section section{"variables", {}};
  for (std::string const &name : environment_names()) {
    std::string value;
    bool const is_ours = starts_with(name, "OSTREL_") || starts_with(name, "OVRA_");
    if (is_ours && Platform::get_environment_variable(name.c_str(), &value)) {
      section.lines.push_back(name + "=" + value);
    }
  }
  return section;
}

std::string describe_directory(std::string const &directory) {
  FileStatus const status = status_of(directory);
  return !status.exists             ? "does not exist"
         : !status.is_directory     ? "is a file"
         : !status.is_readable      ? "cannot be searched"
         : status.is_world_writable ? "writable by every user"
         : status.is_writable       ? "writable"
                                    : "not writable";
}

Section describe_paths() {
  constexpr char const *NAMES[] = {"INSTALL_PATH",   "CONFIG_PATH",       "DATA_PATH",
                                   "AUDIO_PATH",     "IMAGES_PATH",       "FACES_PATH",
                                   "MODELSETS_PATH", "SLAM_LANDMARK_PATH"};
  Section section{"search paths", {}};
  for (int property = Platform::INSTALL_PATH; property <= Platform::SLAM_LANDMARK_PATH;
       ++property) {
    std::vector<SearchPathElement> elements;
    Platform::get_search_path_elements(static_cast<Platform::SystemProperty>(property), &elements);
    for (SearchPathElement const &element : elements) {
      section.lines.push_back(
          std::string(NAMES[property]) + ": '" + element.directory + "' (" + origin_text(element) +
          ", " + describe_directory(Platform::native_path(element.directory.c_str())) + ")");
    }
  }
  return section;
}

std::string describe_file(SearchedFile const &place) {
  FileStatus const status = status_of(place.file);
  return !place.exists        ? "no file"
         : !place.is_readable ? "not readable"
         : !place.is_used     ? "not read: an earlier file comes first"
         : status.is_writable ? "read, writable"
                              : "read, not writable";
}

Section describe_settings() {
  Section section{"settings file", {}};
  std::string used;
  for (SearchedFile const &place : search_settings_file()) {
    section.lines.push_back(
        place.file + ": " + describe_file(place) + " (" +
        (place.is_current_directory ? "current directory" : origin_text(place.element)) + ")");
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
           (!status.exists        ? "no file"
            : !status.is_readable ? "not readable"
                                  : "readable")}};
}

Section describe_logging() {
  std::string priority, output;
  bool const has_priority = Platform::get_environment_variable("OSTREL_LOG_PRIORITY", &priority) ||
                            Platform::get_environment_variable("OVRA_LOG_PRIORITY", &priority);
  bool const has_output = Platform::get_environment_variable("OSTREL_LOG_OUTPUT", &output) ||
                          Platform::get_environment_variable("OVRA_LOG_OUTPUT", &output);
  Section section{"logging", {"all categories: INFO, to standard error"}};
  if (has_priority) {
    section.lines.push_back("except '" + priority + "', to " +
                            (has_output ? "'" + output + "'" : "standard error"));
  }
  return section;
}

std::vector<Section> describe_all() {
  Silence const silence;
  return {describe_versions(), describe_variables(), describe_paths(),
          describe_settings(), describe_registry(),  describe_logging()};
}

std::vector<Finding> diagnose_all() {
  Silence const silence;
  std::vector<Finding> findings;
  diagnose_variables(&findings);
  diagnose_search_paths(&findings);
  diagnose_settings_file(&findings);
  diagnose_registry(&findings);
  diagnose_logging(&findings);
  return findings;
}

nlohmann::json sections_json(std::vector<Section> const &sections) {
  nlohmann::json json = nlohmann::json::object();
  for (Section const &section : sections) {
    json[section.title] = section.lines;
  }
  return json;
}

void print_sections(Output &output, std::vector<Section> const &sections) {
  for (Section const &section : sections) {
    output.line({{section.title, Style::STRONG}});
    for (std::string const &line : section.lines) {
      output.line("  " + line);
    }
  }
}

} // namespace

int run_doctor(Output &output, bool report) {
  std::vector<Finding> const findings = diagnose_all();
  std::vector<Section> const sections = report ? describe_all() : std::vector<Section>();
  if (output.is_json()) {
    nlohmann::json json = {{"findings", findings_json(findings)}};
    if (report) {
      json["report"] = sections_json(sections);
    }
    output.print_json(json);
  } else {
    print_sections(output, sections);
    if (report) {
      output.line({{findings.empty() ? "nothing found" : "findings", Style::STRONG}});
    }
    print_findings(output, findings);
  }
  if (findings.empty() && !report) {
    output.error("nothing found");
  }
  return findings.empty() ? STATUS_DONE : STATUS_FINDINGS;
}

} // namespace Ostrel::Tool
